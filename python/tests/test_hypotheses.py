"""Tests of linear hypotheses, and sums of squares, beside statsmodels; advice where there is none."""

import copy
import pickle

import numpy as np
import pandas as pd
import pytest
import qvreg
import statsmodels.formula.api as smf
from near import assert_near
from scipy.stats import chi2, norm
from test_bad_input import sentence
from test_results import exact

HYPOTHESES = ["x = 0", "x = 2, a[T.q] = a[T.r]", "2*x - a[T.q] = 1", np.eye(4)[1:],
              (np.array([[0.0, 1, -1, 0]]), np.array([0.5]))]


@pytest.fixture(params=["plain", "weights", "robust", "logit"])
def fits(request, table):
    if request.param == "weights":
        return qvreg.ols("y ~ a + x", table, weights="w"), smf.wls("y ~ a + x", table, weights=table.w).fit()
    if request.param == "robust":
        return qvreg.ols("y ~ a + x", table, vcov="hc1"), smf.ols("y ~ a + x", table).fit(cov_type="HC1")
    if request.param == "logit":
        return qvreg.logit("event ~ a + x", table), exact(smf.logit("event ~ a + x", table))
    return qvreg.ols("y ~ a + x", table), smf.ols("y ~ a + x", table).fit()


@pytest.mark.parametrize("hypotheses", HYPOTHESES, ids=range(len(HYPOTHESES)))
def test_single_hypotheses(fits, hypotheses):
    got, expected = (results.t_test(hypotheses) for results in fits)
    for name in ("effect", "sd", "tvalue", "pvalue", "statistic"):
        assert_near(getattr(got, name), np.ravel(getattr(expected, name)))
    for alpha in (0.05, 0.2):
        assert_near(got.conf_int(alpha), expected.conf_int(alpha))
    pd.testing.assert_frame_equal(got.summary_frame(), expected.summary_frame(), rtol=1e-8, check_names=False)
    assert repr(got) == got.summary_frame().to_string()


@pytest.mark.parametrize("hypotheses", HYPOTHESES, ids=range(len(HYPOTHESES)))
@pytest.mark.parametrize("use_f", [None, True, False])
def test_joint_hypotheses(fits, hypotheses, use_f):
    got, expected = fits[0].wald_test(hypotheses, use_f), fits[1].wald_test(hypotheses, use_f=use_f, scalar=True)
    assert_near([got.statistic, got.pvalue], [expected.statistic, expected.pvalue])
    assert got.df_num == len(fits[1].t_test(hypotheses).effect) and got.df_denom == fits[1].df_resid
    assert got.distribution == expected.distribution


def test_f_tests(fits):
    got, expected = fits[0].f_test("x = 0, a[T.q] = 0"), fits[1].f_test("x = 0, a[T.q] = 0")
    assert_near([got.fvalue, got.pvalue, got.df_num, got.df_denom],
                [np.squeeze(expected.fvalue), expected.pvalue, expected.df_num, expected.df_denom])
    assert repr(got).startswith(f"<Wald test: F(2, {got.df_denom:g}) = ")
    assert repr(fits[0].wald_test("x = 0", use_f=False)).startswith("<Wald test: chi2(1) = ")


def test_hypotheses_on_classes(table):
    numbered = table.assign(kind=table.kind.map({"high": 0, "low": 1, "mid": 2}))
    got, expected = qvreg.mnlogit("kind ~ x", table), exact(smf.mnlogit("kind ~ x", numbered))
    matrix = np.array([[0.0, 1, 0, -1], [1, 0, 1, 0]])
    # Not its t_test, which pairs estimates and errors of different parameters (0.13).
    effect = matrix @ expected.params.to_numpy().ravel(order="F")
    covariance = matrix @ expected.cov_params().to_numpy() @ matrix.T
    statistics = effect / np.sqrt(np.diag(covariance))
    named = "low:x = mid:x, low:Intercept + mid:Intercept = 0"
    for hypotheses in (matrix, named):
        assert_near(got.t_test(hypotheses).tvalue, statistics)
        assert_near(got.t_test(hypotheses).pvalue, 2 * norm.sf(np.abs(statistics)))
        joint = effect @ np.linalg.solve(covariance, effect)
        assert_near([got.wald_test(hypotheses).statistic, got.wald_test(hypotheses).pvalue], [joint, chi2.sf(joint, 2)])


def test_hypotheses_that_cannot_be_read(table):
    results = qvreg.ols("y ~ x", table)
    expected = sentence(results.t_test, "x = ")
    assert expected.startswith("The hypotheses cannot be read: ") and expected.endswith(
        "\nParameters are called Intercept, x.")
    assert sentence(results.wald_test, np.eye(3)).startswith("The hypotheses cannot be read: ")
    assert sentence(results.wald_test, "x = 0, 2*x = 0") == (
        "The hypotheses depend on each other: leave out those that follow from the others.")


@pytest.mark.parametrize("hypotheses", ["", "  ", [""], ["x = 0", ""]])
def test_empty_hypotheses(table, hypotheses):
    results = qvreg.ols("y ~ x", table)
    for test in (results.t_test, results.wald_test, results.f_test):
        assert sentence(test, hypotheses) == "A hypothesis is empty. Write one, as in 'x = 0'."


@pytest.mark.parametrize("hypotheses, word", [
    ("z = 0", "z"), ("x = 0, 2*z - x = 1", "z"), ("xz = 0", "xz"), ("a[T.s] = a[T.q]", "a[T.s]"), ("x:z", "x:z"),
    ("(x + np.log(z)) = 0", "np.log(z)"), ({"z": 0}, "z"), (["x = 0", "Intercpt"], "Intercpt"),
    ("C(a, Treatment('q'))[T.r] = 0", "C(a, Treatment('q'))[T.r]"),
])
def test_hypotheses_on_parameters_that_are_not_there(table, hypotheses, word):
    results = qvreg.ols("y ~ a + x", table)
    for test in (results.t_test, results.wald_test):
        assert sentence(test, hypotheses) == (
            f"There is no parameter {word!r}. Parameters are called Intercept, a[T.q], a[T.r], x.")


@pytest.mark.parametrize("hypotheses", ["I(2 * x) = 0", "x = 0, I(2*x) = 0", {"I(2 * x)": 1}])
def test_hypotheses_on_redundant_parameters(table, hypotheses):
    assert sentence(qvreg.ols("y ~ x + I(2*x)", table).t_test, hypotheses) == (
        "The parameter 'I(2 * x)' is redundant: it depends on others or has no observation, and so has no estimate to "
        "test. Parameters are called Intercept, x.")


def test_hypotheses_on_redundant_parameters_of_classes(table):
    results = qvreg.mnlogit("kind ~ x + twice", table.assign(twice=2 * table.x))
    called = "Parameters are called low:Intercept, low:x, mid:Intercept, mid:x."
    assert sentence(results.t_test, "low:twice = mid:x") == (
        "The parameter 'low:twice' is redundant: it depends on others or has no observation, and so has no estimate to "
        f"test. {called}")
    assert sentence(results.t_test, "x = 0") == f"There is no parameter 'x'. {called}"


def test_hypotheses_that_name_all_parameters_rightly(table):
    results = qvreg.ols("y ~ a + x", table)
    for hypotheses in ("x = 'q'", "x = a[T.q]]", "x x = 0", "1 = 0"):
        assert sentence(results.t_test, hypotheses).startswith("The hypotheses cannot be read: ")


@pytest.mark.parametrize("formula, weights", [("y ~ a*x", None), ("y ~ a*x", "w"), ("y ~ x - 1", None),
                                              ("y ~ a + x - 1", "w")])
def test_sums_of_squares(table, formula, weights):
    got = qvreg.ols(formula, table, weights=weights)
    expected = smf.wls(formula, table, weights=table[weights] if weights else 1.0).fit()
    for name in ("ess", "mse_model", "mse_total", "mse_resid", "ssr"):
        assert_near(getattr(got, name), getattr(expected, name))
    about_mean = formula != "y ~ x - 1"
    assert_near(got.centered_tss if about_mean else got.uncentered_tss,
                expected.centered_tss if about_mean else expected.uncentered_tss)
    assert np.isnan(got.uncentered_tss if about_mean else got.centered_tss)


@pytest.mark.parametrize("name, expected", [
    ("resid", "results hold no data: take the response less results.predict(data)."),
    ("fittedvalues", "results hold no data: call results.predict(data)."),
    ("summary2", "call results.summary()."),
])
def test_advice_on_what_is_not_there(table, name, expected):
    results = qvreg.logit("event ~ x", table)
    with pytest.raises(AttributeError) as raised:
        getattr(results, name)
    assert str(raised.value) == f"'LogitResults' object has no attribute {name!r}: {expected}"
    assert not hasattr(results, name) and not hasattr(results, "nothing")
    assert (copy.copy(results).params == pickle.loads(pickle.dumps(results)).params).all()


def test_estimates_of_linear_models_are_their_effects(table):
    with pytest.raises(AttributeError, match="the estimates of a linear model are its marginal effects"):
        qvreg.ols("y ~ x", table).get_margeff


def test_predictions_need_data(table):
    linear, classes, three = (qvreg.ols("y ~ x", table), qvreg.logit("event ~ x", table),
                              qvreg.mnlogit("kind ~ x", table))
    expected = ("predict needs data, since results hold none: call predict(data) with the table of the fit, or with "
                "new rows.")
    for results in (linear, classes, three):
        assert sentence(results.predict) == expected
        assert sentence(results.get_prediction) == expected.replace("predict", "get_prediction")
    for results in (classes, three):
        assert sentence(results.get_margeff) == expected.replace("predict", "get_margeff")


def test_one_new_row(table):
    results = qvreg.ols("y ~ a*x", table)
    expected = results.predict(pd.DataFrame({"x": [1.0], "a": ["q"]}))
    assert (results.predict({"x": 1.0, "a": "q"}) == expected.to_numpy()).all()
    assert qvreg.ols("y ~ 1", table).predict({"x": 1.0}).shape == (1,)


def test_other_names(table):
    results = qvreg.mnlogit("kind ~ x", table)
    assert (results.pred_table() == results.classification_table()).all(axis=None)
    summary = results.summary()
    assert summary.as_text() == str(summary) and summary.as_html() == summary._repr_html_()
