"""Errors of predicted probabilities and marginal effects are those of statsmodels, or of numerical derivatives."""

import numpy as np
import pandas as pd
import patsy
import pytest
import qvreg
import statsmodels.api as sm
import statsmodels.formula.api as smf
from near import assert_near
from test_bad_input import sentence

NAMES = ["mean", "mean_se", "mean_ci_lower", "mean_ci_upper"]


def exact(model, **options):
    """statsmodels' Newton iterations to the last digits."""
    return model.fit(method="newton", maxiter=200, tol=1e-14, disp=False, **options)


def numbered(table):
    return table.assign(kind=table.kind.map({"high": 0, "low": 1, "mid": 2}))


@pytest.mark.parametrize("formula", ["event ~ a*b + x", "event ~ a:x - 1", "event ~ 1", "event ~ a + I(x**2) + x:z"])
def test_errors_of_two_classes(table, formula):
    got = qvreg.logit(formula, table).get_prediction(table.head(50))
    model = smf.glm(formula, table, family=sm.families.Binomial())
    expected = model.fit(tol=1e-14, maxiter=200).get_prediction(table.head(50))
    for alpha in (0.05, 0.3):
        pd.testing.assert_frame_equal(got.summary_frame(alpha), expected.summary_frame(alpha), rtol=1e-8)
    assert_near(got.conf_int(), expected.conf_int())
    delta = 1.959963984540054 * got.se_mean
    assert_near(got.conf_int(method="delta"), np.column_stack([got.predicted_mean - delta,
                                                               got.predicted_mean + delta]))


@pytest.mark.parametrize("kind", ["HC0", "HC1"])
def test_errors_with_a_robust_covariance(table, kind):
    got = qvreg.logit("event ~ a*x", table, vcov=kind).get_prediction(table)
    model = smf.glm("event ~ a*x", table, family=sm.families.Binomial())
    expected = model.fit(tol=1e-14, cov_type="HC0").get_prediction(table)
    factor = np.sqrt(400 / 394) if kind == "HC1" else 1.0
    assert_near(got.se_mean, factor * expected.se_mean)


def test_errors_with_another_reference(table):
    first, second = (qvreg.logit("event ~ x", table, reference=reference).get_prediction(table) for reference in (0, 1))
    assert_near(first.predicted_mean, 1.0 - second.predicted_mean)
    assert_near(first.se_mean, second.se_mean)
    assert_near(first.conf_int(), 1.0 - second.conf_int()[:, ::-1])


@pytest.mark.parametrize("formula, vcov", [("kind ~ a*b + x", "nonrobust"), ("kind ~ a:x + z - 1", "HC0")])
def test_errors_of_three_classes(table, formula, vcov):
    numbers = numbered(table)
    got = qvreg.mnlogit(formula, numbers, vcov=vcov).get_prediction(numbers)
    peer = exact(smf.mnlogit(formula, numbers), cov_type=vcov)
    design = np.asarray(patsy.dmatrix(formula.split("~")[1], numbers))
    flat = peer.params.to_numpy().ravel("F")

    def probabilities(estimates):
        return peer.model.predict(estimates.reshape(peer.params.shape, order="F"), design)

    step = 1e-6
    slopes = np.stack([(probabilities(flat + step * unit) - probabilities(flat - step * unit)) / (2 * step)
                       for unit in np.eye(len(flat))], axis=2)
    errors = np.sqrt(np.einsum("nkp,pq,nkq->nk", slopes, np.asarray(peer.cov_params()), slopes))
    assert_near(got.predicted_mean, peer.predict(numbers))
    assert_near(got.se_mean, errors, 1e-7)


def test_frames_of_three_classes(table):
    results = qvreg.mnlogit("kind ~ x", table)
    some = table.iloc[[5, 3, 8]]
    prediction = results.get_prediction(some)
    shown = prediction.summary_frame(0.1)
    assert list(shown.index) == [5, 3, 8] and list(shown["low"].columns) == NAMES
    limits = prediction.conf_int(0.1)
    assert limits.shape == (3, 2, 3)
    for place, label in enumerate(results.classes):
        assert_near(shown[label], np.column_stack([prediction.predicted_mean[:, place], prediction.se_mean[:, place],
                                                   limits[:, :, place]]))
        odds = np.log(shown[label] / (1 - shown[label]))
        assert_near(odds.mean_ci_lower + odds.mean_ci_upper, 2 * odds["mean"])
    assert repr(prediction) == ("<ProbabilityPrediction of 3 rows and 3 classes: predicted_mean, se_mean, conf_int(), "
                                "summary_frame()>")
    assert "of 400 rows: predicted" in repr(qvreg.logit("event ~ x", table).get_prediction(table))


def test_frames_of_no_rows(table):
    empty = table[:0]
    two, three = qvreg.logit("event ~ x", table), qvreg.mnlogit("kind ~ x", table)
    assert two.get_prediction(empty).summary_frame().shape == (0, 4)
    prediction = three.get_prediction(empty)
    shown = prediction.summary_frame()
    assert shown.shape == (0, 12)
    assert list(shown.columns) == [(label, name) for label in three.classes for name in NAMES]
    assert prediction.conf_int().shape == (0, 2, 3) and three.predict(empty).shape == (0, 3)


def test_three_classes_of_which_two_are_asked(table):
    two = table[table.kind != "mid"]
    binary, general = (fit("kind ~ a + x", two).get_prediction(two) for fit in (qvreg.logit, qvreg.mnlogit))
    assert_near(general.se_mean[:, 1], binary.se_mean)
    assert_near(general.se_mean[:, 0], binary.se_mean)


def test_missing_values_and_new_combinations_of_levels_have_no_errors(table):
    filled = table[~((table.a == "q") & (table.b == "v"))]
    results = qvreg.logit("event ~ a:b + x", filled)
    prediction = results.get_prediction({"a": np.array(["p", None, "q", "p"]), "b": np.array(["u", "u", "v", "v"]),
                                         "x": np.array([0.5, 0.5, 0.5, np.nan])})
    assert np.isnan(prediction.se_mean).tolist() == [False, True, True, True]
    assert np.isnan(prediction.conf_int()).any(axis=1).tolist() == [False, True, True, True]
    assert not np.isnan(results.get_margeff(table).margeff).any()


def test_probabilities_near_one_have_errors(table):
    slope = qvreg.logit("event ~ x", table).params["x"]
    far = {"x": [50 / slope]}
    near_one, near_zero = (qvreg.logit("event ~ x", table, reference=reference).get_prediction(far)
                           for reference in (0, 1))
    assert near_one.predicted_mean[0] == 1.0 and 0 < near_zero.predicted_mean[0] < 1e-20
    assert near_one.se_mean[0] == pytest.approx(near_zero.se_mean[0], rel=1e-6, abs=0)


def test_rows_far_away_have_limits(table):
    far = qvreg.logit("event ~ x", table).get_prediction({"x": [-1e5, -30.0, 30.0, 1e5]})
    assert ((far.conf_int()[1:3] > 0) & (far.conf_int()[1:3] < 1)).all()
    assert far.se_mean[0] == far.se_mean[3] == 0.0 and far.se_mean[1] > 0
    assert far.conf_int()[[0, 3]].tolist() == [[0.0, 0.0], [1.0, 1.0]]


def test_many_blocks_give_what_one_gives(table, monkeypatch):
    results = qvreg.mnlogit("kind ~ a*b + x", table)
    whole, effects = results.get_prediction(table), results.get_margeff(table, freq_weights="count")
    monkeypatch.setattr("qvreg._design_rows._BLOCK_NUMBERS", 70)
    assert_near(results.get_prediction(table).se_mean, whole.se_mean, 1e-13)
    assert_near(results.get_margeff(table, freq_weights="count").margeff_se, effects.margeff_se, 1e-12)


def test_redundant_columns_have_no_part_in_errors(table):
    got = qvreg.logit("event ~ x + I(2*x) + a", table)
    expected = qvreg.logit("event ~ x + a", table)
    assert_near(got.get_prediction(table).se_mean, expected.get_prediction(table).se_mean)
    assert_near(got.get_margeff(table).summary_frame(), expected.get_margeff(table).summary_frame())


@pytest.mark.parametrize("formula", ["event ~ a*b + x", "event ~ a:x + z - 1", "event ~ x + I(x**2)"])
def test_effects_on_two_classes(table, formula):
    got, expected = qvreg.logit(formula, table).get_margeff(table), exact(smf.logit(formula, table)).get_margeff()
    for name in ("margeff", "margeff_se", "tvalues", "pvalues", "margeff_cov"):
        assert_near(getattr(got, name), getattr(expected, name))
    for alpha in (0.05, 0.2):
        assert_near(got.conf_int(alpha), expected.conf_int(alpha))
        assert_near(got.summary_frame(alpha), expected.summary_frame(alpha))
    assert list(got.summary_frame().index) == list(expected.summary_frame().index)
    assert list(got.summary_frame().columns)[:5] == list(expected.summary_frame().columns)[:5]


@pytest.mark.parametrize("formula", ["kind ~ a*b + x", "kind ~ a:x + z - 1"])
def test_effects_on_three_classes(table, formula):
    numbers = numbered(table)
    got, expected = qvreg.mnlogit(formula, numbers).get_margeff(numbers), exact(
        smf.mnlogit(formula, numbers)).get_margeff()
    for name in ("margeff", "margeff_se", "tvalues", "pvalues"):
        assert_near(getattr(got, name), getattr(expected, name))
    assert_near(got.conf_int(), expected.conf_int())
    assert_near(got.summary_frame(), expected.summary_frame())
    assert [name for _, name in got.summary_frame().index] == [name for _, name in expected.summary_frame().index]
    assert_near(got.margeff.sum(axis=1), np.zeros(len(got.margeff)))


def test_effects_count_rows_as_often_as_they_are_told(table):
    repeated = table.loc[table.index.repeat(table["count"])]
    got = qvreg.logit("event ~ a + x", table, freq_weights="count", vcov="hc0")
    expected = exact(smf.logit("event ~ a + x", repeated), cov_type="HC0").get_margeff()
    assert_near(got.get_margeff(table, freq_weights="count").margeff_se, expected.margeff_se)
    assert_near(got.get_margeff(table, freq_weights=table["count"].to_numpy()).margeff, expected.margeff)
    holes = pd.concat([table, table.assign(x=np.nan)])
    assert_near(got.get_margeff(holes, freq_weights="count").margeff, expected.margeff)


def test_the_summary_of_effects(table):
    effects = qvreg.mnlogit("kind ~ a + x", table).get_margeff(table)
    text = str(effects.summary(0.1))
    assert text.splitlines()[0].strip() == "Average marginal effects"
    assert text.count("a[T.q]") == 3 and "kind=low" in text and "dy/dx" in text and "0.95]" in text
    assert repr(effects) == str(effects.summary()) and effects._repr_html_().count("a[T.q]") == 3
    assert str(qvreg.logit("event ~ x", table).get_margeff(table)).count("\nx ") == 1


@pytest.mark.parametrize("arguments, expected", [
    ({"at": "mean"}, "at='mean' is not known. Choose 'overall'."),
    ({"method": "eyex"}, "method='eyex' is not known. Choose 'dydx'."),
    ({"freq_weights": "none"}, "freq_weights='none' names no column of the data."),
])
def test_effects_that_there_are_not(table, arguments, expected):
    with pytest.raises(qvreg.QvregError) as raised:
        qvreg.logit("event ~ x", table).get_margeff(table, **arguments)
    assert str(raised.value) == expected


def test_limits_that_there_are_not(table):
    with pytest.raises(qvreg.ArgumentError) as raised:
        qvreg.logit("event ~ x", table).get_prediction(table).conf_int(method="exact")
    assert str(raised.value) == "method='exact' is not known. Choose 'endpoint' or 'delta'."


def with_holes(table, **columns):
    """Rows whose response, weight or frequency is missing or 0 are left out of a fit."""
    holes = table.assign(**columns)
    for start, column in enumerate(columns):
        holes.loc[holes.index[start:300:5], column] = np.nan
    return holes


@pytest.mark.parametrize("fit, formula", [(qvreg.logit, "event ~ a + x"), (qvreg.mnlogit, "kind ~ a + x"),
                                          (qvreg.logit, "I(event) ~ a + x"), (qvreg.logit, "Q('event') ~ a + x")])
def test_effects_are_averaged_over_the_rows_of_the_fit(table, fit, formula):
    holes = with_holes(table, event=table.event, w=table.w, count=table["count"].astype(float), kind=table.kind)
    holes.loc[holes.index[4:300:5], "w"] = 0.0
    results = fit(formula, holes, weights="w", freq_weights="count")
    response = results.model.formula.response.replace("I(", "").replace("Q('", "").rstrip("')")
    used = holes.dropna(subset=[response, "w", "count"])
    used = used[used.w > 0]
    assert used["count"].sum() == results.nobs and len(used) == len(holes) - results.n_left_out
    expected = results.get_margeff(used.drop(columns=[response, "w"]))
    got = results.get_margeff(holes)
    assert_near(got.margeff, expected.margeff, 1e-12)
    assert_near(got.margeff_se, expected.margeff_se, 1e-12)
    without = results.get_margeff(holes.drop(columns=response))
    assert np.abs(without.margeff - got.margeff).max() > 1e-6


def test_effects_count_rows_as_the_fit_does(table):
    results = qvreg.logit("event ~ x", table, freq_weights="count")
    repeated = table.loc[table.index.repeat(table["count"])]
    expected = exact(smf.logit("event ~ x", repeated)).get_margeff().margeff
    assert_near(results.get_margeff(table).margeff, expected)
    assert_near(results.get_margeff(table, freq_weights="count").margeff, expected)
    once = results.get_margeff(table, freq_weights=np.ones(len(table))).margeff
    assert_near(results.get_margeff(table.drop(columns="count")).margeff, once)
    assert np.abs(once - expected).max() > 1e-6


def test_effects_do_not_take_the_response_of_the_caller(table):
    event = np.full(len(table), np.nan)
    for response in ("event", "I(event + 0 * x)"):
        results = qvreg.logit(f"{response} ~ x", table)
        assert_near(results.get_margeff(table.drop(columns="event")).margeff, results.get_margeff(table).margeff)
    assert np.isnan(event).all()


@pytest.mark.parametrize("fit, formula", [(qvreg.logit, "event ~ a:b + x"), (qvreg.mnlogit, "kind ~ a:b + x")])
def test_effects_need_a_row(table, fit, formula):
    response = formula.split(" ")[0]
    seen = table[~((table.a == "q") & (table.b == "v"))]
    results = fit(formula, seen, freq_weights="count")
    expected = ("get_margeff has no row to average over: all 400 have a missing value, a weight of 0 or a combination "
                "of levels that the fit has not seen.")
    for columns in ({"x": np.nan}, {response: None}, {"count": 0}, {"a": "q", "b": "v"}):
        assert sentence(results.get_margeff, table.assign(**columns)) == expected
    assert sentence(results.get_margeff, table, freq_weights=np.zeros(400)) == expected
    assert sentence(results.get_margeff, table[:0]) == "get_margeff has no row to average over: the data have none."
