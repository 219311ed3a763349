"""Results have the numbers, names and shapes of statsmodels'."""

import unicodedata

import numpy as np
import pandas as pd
import pytest
import qvreg
import statsmodels.api as sm
import statsmodels.formula.api as smf
from near import assert_near, assert_same_series

LINEAR_NUMBERS = ["rsquared", "rsquared_adj", "fvalue", "f_pvalue", "llf", "aic", "bic", "nobs", "df_resid",
                  "df_model", "scale", "mse_resid", "ssr"]
CLASS_NUMBERS = ["llf", "llnull", "llr", "llr_pvalue", "prsquared", "aic", "bic", "nobs", "df_resid", "df_model"]


def exact(model, **options):
    """statsmodels' Newton iterations to the last digits."""
    return model.fit(method="newton", maxiter=200, tol=1e-14, disp=False, **options)


@pytest.fixture(params=["y ~ a*b + x", "y ~ x - 1", "y ~ a + x - 1", "y ~ 1"])
def linear(request, table):
    return qvreg.ols(request.param, table), smf.ols(request.param, table).fit()


def test_series_of_a_linear_model(linear):
    got, expected = linear
    for name in ("params", "bse", "tvalues", "pvalues"):
        assert_same_series(getattr(got, name), getattr(expected, name))


def test_numbers_of_a_linear_model(linear):
    got, expected = linear
    for name in LINEAR_NUMBERS:
        assert_near(getattr(got, name), getattr(expected, name))


def test_matrices_of_a_linear_model(linear):
    got, expected = linear
    for alpha in (0.05, 0.2):
        pd.testing.assert_frame_equal(got.conf_int(alpha), expected.conf_int(alpha), rtol=1e-8)
    pd.testing.assert_frame_equal(got.cov_params(), expected.cov_params(), rtol=1e-8, atol=1e-12)


def test_weights(table):
    got = qvreg.ols("y ~ a*x", table, weights="w")
    expected = smf.wls("y ~ a*x", table, weights=table.w).fit()
    assert_same_series(got.bse, expected.bse)
    for name in LINEAR_NUMBERS:
        assert_near(getattr(got, name), getattr(expected, name))
    by_values = qvreg.ols("y ~ a*x", table, weights=table.w.to_numpy())
    assert (by_values.params == got.params).all()


def test_frequency_weights_repeat_rows(table):
    got = qvreg.ols("y ~ a*x - 1", table, freq_weights="count")
    expected = smf.ols("y ~ a*x - 1", table.loc[table.index.repeat(table["count"])]).fit()
    assert_same_series(got.bse, expected.bse)
    for name in LINEAR_NUMBERS:
        assert_near(getattr(got, name), getattr(expected, name))


def test_rows_with_missing_values_are_left_out(table):
    holes = table.copy()
    holes.loc[3, "x"] = np.nan
    holes.loc[5, "a"] = None
    holes.loc[7, "y"] = np.nan
    holes.loc[8, "c"] = np.nan
    got, expected = qvreg.ols("y ~ a*x + c", holes), smf.ols("y ~ a*x + c", holes).fit()
    assert_same_series(got.params, expected.params)
    assert got.nobs == 396 and got.n_left_out == 4 and qvreg.ols("y ~ x", table).n_left_out == 0
    assert "4 of 400 rows were left out: 4 for a missing value." in str(got.summary())
    predicted = got.predict(holes)
    assert np.isnan(predicted[[3, 5, 8]]).all() and not np.isnan(predicted[7])


def test_columns_of_nullable_types(table):
    nullable = table.astype({"x": "Float64", "k": "Int64", "flag": "boolean", "a": "string"})
    nullable.loc[2, "x"] = pd.NA
    nullable.loc[4, "k"] = pd.NA
    got = qvreg.ols("y ~ x + k + a + flag", nullable)
    expected = smf.ols("y ~ x + k + a + flag", table.drop(index=[2, 4])).fit()
    assert_same_series(got.params, expected.params)


@pytest.mark.parametrize("formula", ["event ~ a*b + x", "event ~ x - 1", "event ~ 1"])
def test_logit(table, formula):
    got, expected = qvreg.logit(formula, table), exact(smf.logit(formula, table))
    for name in ("params", "bse", "tvalues", "pvalues"):
        assert_same_series(getattr(got, name), getattr(expected, name))
    assert_near(got.conf_int(), expected.conf_int())
    assert_near(got.cov_params(), expected.cov_params())
    assert_near(got.predict(table), expected.predict(table))
    assert_near(got.classification_table(), expected.pred_table())
    for name in ("llf", "llnull", "prsquared", "nobs", "df_resid"):
        assert_near(getattr(got, name), getattr(expected, name))
    assert got.separation is None and got.converged
    assert (got.iterations > 0) == (formula != "event ~ 1")


def test_numbers_of_a_logit_with_a_constant(table):
    got, expected = qvreg.logit("event ~ a*b + x", table), exact(smf.logit("event ~ a*b + x", table))
    for name in CLASS_NUMBERS:
        assert_near(getattr(got, name), getattr(expected, name))


def test_weights_of_a_logit(table):
    got = qvreg.logit("event ~ a + x", table, freq_weights="count")
    expected = smf.logit("event ~ a + x", table.loc[table.index.repeat(table["count"])])
    assert_same_series(got.bse, exact(expected).bse)
    weighted = qvreg.logit("event ~ a + x", table, weights="w")
    peer = smf.glm("event ~ a + x", table, family=sm.families.Binomial(), var_weights=table.w).fit(tol=1e-14)
    assert_same_series(weighted.bse, peer.bse)


def test_mnlogit(table):
    numbered = table.assign(kind=table.kind.map({"high": 0, "low": 1, "mid": 2}))
    got, expected = qvreg.mnlogit("kind ~ a + x", numbered), exact(smf.mnlogit("kind ~ a + x", numbered))
    for name in ("params", "bse", "tvalues", "pvalues"):
        frame = getattr(expected, name).set_axis([1, 2], axis=1)  # statsmodels counts equations
        pd.testing.assert_frame_equal(getattr(got, name), frame, rtol=1e-8, atol=1e-9)
    assert_near(got.conf_int(), expected.conf_int())
    assert list(got.conf_int().index) == list(expected.conf_int().index)
    assert list(got.conf_int().columns) == list(expected.conf_int().columns)
    assert_near(got.cov_params(), expected.cov_params())
    pd.testing.assert_frame_equal(got.predict(numbered), expected.predict(numbered), rtol=1e-8)
    assert_near(got.classification_table(), expected.pred_table())
    for name in CLASS_NUMBERS:
        assert_near(getattr(got, name), getattr(expected, name))


def test_classes_of_text_and_another_reference(table):
    got = qvreg.mnlogit("kind ~ x", table, reference="mid")
    assert got.reference == "mid" and got.classes == ["high", "low", "mid"]
    swapped = table.assign(kind=table.kind.map({"mid": 0, "high": 1, "low": 2}))
    assert_near(got.params, exact(smf.mnlogit("kind ~ x", swapped)).params)
    for name in ("params", "bse", "tvalues", "pvalues"):
        assert list(getattr(got, name).columns) == ["high", "low"]
    assert list(got.predict(table).columns) == ["high", "low", "mid"]
    assert_near(got.predict(table), qvreg.mnlogit("kind ~ x", table).predict(table))


def test_reference_of_a_logit(table):
    for reference, sign in ((0, 1), (1, -1)):
        got = qvreg.logit("event ~ x", table, reference=reference)
        assert_near(got.params, sign * exact(smf.logit("event ~ x", table)).params)
        assert got.reference == reference


def test_separated_classes_warn():
    data = pd.DataFrame({"y": [0, 0, 0, 1, 1, 1], "x": [0.0, 1, 2, 3, 4, 5]})
    with pytest.warns(qvreg.SeparationWarning, match=r"separate the classes \(complete separation\)"):
        results = qvreg.logit("y ~ x", data)
    assert results.separation == "complete"
    assert "estimates and standard errors of the parameters concerned mean nothing" in str(results.summary())


def test_too_few_iterations_warn(table):
    with pytest.warns(qvreg.ConvergenceWarning, match="did not converge in 1 iterations"):
        results = qvreg.logit("event ~ x", table, max_iterations=1)
    assert not results.converged
    assert results.summary().notes == ["The estimates did not converge in 1 iterations: the last ones are given."]


def test_any_number_of_threads_gives_the_same_bits(table):
    one, two = (qvreg.logit("event ~ a*x", table, threads=threads) for threads in (1, 2))
    assert (one.params == two.params).all() and (one.bse == two.bse).all()


def test_the_summary_has_every_parameter(table):
    results = qvreg.mnlogit("kind ~ a*x", table)
    text, html = str(results.summary()), results.summary()._repr_html_()
    assert text.count("a[T.q]:x") == html.count("a[T.q]:x") == 2
    assert "kind=low" in text and "kind=mid" in text
    assert len({len(line) for line in text.splitlines()[1:] if not line.startswith("Notes")}) == 1
    assert results._repr_html_() == html


def test_redundant_parameters_are_in_the_notes(table):
    summary = qvreg.ols("y ~ x + I(2*x)", table).summary()
    assert summary.notes == ["Redundant, since the data do not determine them: I(2 * x)."]


@pytest.mark.parametrize("kind", ["HC0", "HC1"])
def test_robust_covariance_of_a_linear_model(table, kind):
    got, expected = qvreg.ols("y ~ a*x", table, vcov=kind.lower()), smf.ols("y ~ a*x", table).fit(cov_type=kind)
    for name in ("bse", "tvalues", "pvalues"):
        assert_same_series(getattr(got, name), getattr(expected, name))
    assert_near(got.conf_int(), expected.conf_int())
    assert_near(got.cov_params(), expected.cov_params())
    assert_near([got.fvalue, got.f_pvalue], [expected.fvalue, expected.f_pvalue])


def test_robust_covariance_with_weights_and_missing_values(table):
    holes = table.assign(x=table.x.where(table.x < 1.5))
    got = qvreg.ols("y ~ a*x", holes, weights="w", vcov="hc1")
    used = holes.dropna(subset=["x"])
    expected = smf.wls("y ~ a*x", used, weights=used.w).fit(cov_type="HC1")
    assert_same_series(got.bse, expected.bse)
    repeated = qvreg.ols("y ~ a*x", holes, freq_weights="count", vcov="hc1")
    peer = smf.ols("y ~ a*x", used.loc[used.index.repeat(used["count"])]).fit(cov_type="HC1")
    assert_same_series(repeated.bse, peer.bse)


def test_robust_covariance_of_classes(table):
    got = qvreg.logit("event ~ a*x", table, vcov="HC0")
    expected = exact(smf.logit("event ~ a*x", table), cov_type="HC0")
    assert_same_series(got.bse, expected.bse)
    corrected = qvreg.logit("event ~ a*x", table, vcov="hc1")
    assert_near(corrected.bse, got.bse * np.sqrt(400 / 394))
    three = qvreg.mnlogit("kind ~ x", table, vcov="hc0")
    numbered = table.assign(kind=table.kind.map({"high": 0, "low": 1, "mid": 2}))
    peer = exact(smf.mnlogit("kind ~ x", numbered), cov_type="HC0")
    assert_near(three.bse, peer.bse)


@pytest.mark.parametrize("formula", ["y ~ a*b + x", "y ~ x - 1"])
def test_predictions_with_their_errors(table, formula):
    got, expected = qvreg.ols(formula, table), smf.ols(formula, table).fit()
    for alpha in (0.05, 0.3):
        pd.testing.assert_frame_equal(got.get_prediction(table).summary_frame(alpha),
                                      expected.get_prediction(table).summary_frame(alpha), rtol=1e-8)
    robust = qvreg.ols(formula, table, vcov="hc1").get_prediction(table)
    peer = smf.ols(formula, table).fit(cov_type="HC1").get_prediction(table)
    assert_near(robust.se_mean, peer.se_mean)


def test_predictions_of_a_constant(table):
    got = qvreg.ols("y ~ 1", table).predict(table.iloc[:5])
    assert_near(got, np.full(5, table.y.mean()))
    assert list(got.index) == [0, 1, 2, 3, 4]


def test_declared_classes_without_rows_are_no_classes(table):
    some = table[table.kind != "low"]
    declared = some.assign(kind=pd.Categorical(some.kind, ["mid", "low", "high"]))
    results = qvreg.logit("kind ~ x", declared)
    assert results.classes == ["mid", "high"] and results.reference == "mid"
    expected = smf.logit("high ~ x", declared.assign(high=(declared.kind == "high").astype(int)))
    assert_near(results.params, exact(expected).params)


def test_long_names_keep_their_levels(table):
    long = table.assign(a="a quite long beginning of all levels, with " + table.a.astype(str))
    lines = str(qvreg.ols("y ~ a", long).summary()).splitlines()
    shown = [line[:40] for line in lines if line.startswith("a[T.")]
    assert shown == ["a[T.a quite long beg…f all levels, with q]"[:20] + "…" + f"of all levels, with {level}]"[-19:]
                     for level in "qr"]


def test_wide_characters_are_aligned(table):
    wide = table.assign(a=table.a.map({"p": "あ", "q": "東京", "r": "e\u0301"}))
    lines = str(qvreg.ols("y ~ a", wide).summary()).splitlines()
    room = [sum(1 + (unicodedata.east_asian_width(c) in "WF") - (unicodedata.combining(c) > 0) for c in line)
            for line in lines[1:]]
    assert set(room) == {78}


def test_the_summary_tells_of_weights_and_classes_and_all_rows(table):
    results = qvreg.mnlogit("kind ~ x", table, weights="w", freq_weights="count")
    assert "Rows are weighted by weights and freq_weights." in results.summary().notes
    assert ("No. Classes", "3") in results.summary().facts
    assert "No. Classes" not in dict(qvreg.logit("event ~ x", table).summary().facts)
    many = qvreg.ols("y ~ x", table, freq_weights=np.full(400, 12_345))
    assert dict(many.summary().facts)["No. Observations"] == "4938000"


def test_short_descriptions(table):
    results = qvreg.ols("y ~ x", table)
    assert repr(results.model) == "<Model ols of 'y ~ x'>"
    assert repr(results.get_prediction(table)) == (
        "<Prediction of 400 rows: predicted_mean, se_mean, conf_int(), summary_frame()>")
