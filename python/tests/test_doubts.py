"""Data that can be read, but are not what was meant, are refused, or lead to a warning."""

import pickle
import warnings
from decimal import Decimal

import numpy as np
import pandas as pd
import pytest
import qvreg
import sklearn.linear_model as peers
from near import assert_near
from qvreg.sklearn import LinearRegression, LogisticRegression
from test_bad_input import sentence

RNG = np.random.default_rng(5)
SECONDS = np.linspace(0.0, 60.0, 500)
FAR = [1.7e9 + SECONDS, (1.7e18 + 1e9 * SECONDS).astype(np.int64), 1e9 + np.arange(500.0)]


@pytest.fixture
def small():
    return pd.DataFrame({"y": [1.0, 2, 3, 5], "x": [0.0, 1, 2, 4], "g": list("abab")})


def noisy(values):
    return (values - values[0]) / (values[-1] - values[0]) + RNG.normal(size=500) * 0.1


@pytest.mark.parametrize("far", FAR)
def test_estimators_keep_columns_far_from_zero(far):
    X, y = np.column_stack([far, RNG.normal(size=500)]), noisy(far)
    got, expected = LinearRegression().fit(X, y), peers.LinearRegression().fit(X, y)
    assert expected.coef_[0] > 0
    assert_near(got.coef_ / expected.coef_, [1.0, 1.0], 1e-6)
    assert_near(got.predict(X), expected.predict(X), 1e-6)


def test_classes_keep_columns_far_from_zero():
    y = noisy(SECONDS) + RNG.logistic(size=500) * 0.1 > 0.5
    near = LogisticRegression().fit(SECONDS[:, None], y)
    far = LogisticRegression().fit(1.7e9 + SECONDS[:, None], y)
    assert_near(far.coef_, near.coef_, 1e-6)
    assert_near(far.predict_proba(1.7e9 + SECONDS[:, None]), near.predict_proba(SECONDS[:, None]), 1e-5)


def test_columns_whose_first_rows_are_equal():
    far = 1e12 + np.maximum(np.arange(5000.0) - 2000, 0)
    y = far - 1e12 + np.tile([0.0, 1.0], 2500)
    assert_near(LinearRegression().fit(far[:, None], y).coef_, peers.LinearRegression().fit(far[:, None], y).coef_)


def test_single_precision_is_moved_without_rounding():
    X = (1e6 + np.arange(500.0)).astype(np.float32)[:, None]
    y = noisy(X[:, 0].astype(float))
    assert_near(LinearRegression().fit(X, y).coef_ / LinearRegression().fit(X.astype(float), y).coef_, [1.0], 1e-12)


@pytest.mark.parametrize("fit", [qvreg.ols, qvreg.logit])
def test_a_column_far_from_zero_that_is_left_out_warns(fit):
    far = 1.7e9 + SECONDS
    response = noisy(far) if fit is qvreg.ols else RNG.random(500) < 0.5
    with pytest.warns(qvreg.DataWarning) as seen:
        results = fit("y ~ t", {"y": response, "t": far})
    assert results.redundant == ["t"] and seen[0].filename == __file__
    assert str(seen[0].message) == (
        "The term 't' was left out: its values, from 1700000000 to 1700000060, vary too little beside their size to be "
        "told from a constant. Subtract a number near them before the fit.")


@pytest.mark.parametrize("kind, lowest", [(np.int64, 2**62), (np.int64, -2**62), (np.uint64, 2**63),
                                          (np.uint64, 2**64 - 600)])
def test_whole_numbers_that_are_one_double_warn(kind, lowest):
    far = np.arange(lowest, lowest + 500, dtype=kind)
    chunks = [{"y": noisy(SECONDS)[rows], "t": far[rows]} for rows in (slice(300), slice(300, 500))]
    for fit in (lambda: qvreg.ols("y ~ t", {"y": noisy(SECONDS), "t": far}), lambda: qvreg.fit_chunks(chunks, "y ~ t")):
        with pytest.warns(qvreg.DataWarning) as seen:
            assert fit().redundant == ["t"]
        assert str(seen[0].message) == (
            f"The term 't' was left out: its values, from {lowest} to {lowest + 499}, vary too little beside their "
            "size to be told from a constant. Subtract a number near them before the fit.")


def test_other_columns_that_are_left_out_do_not_warn(table):
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        assert qvreg.ols("y ~ x + I(2*x) + one", table.assign(one=1.0)).redundant == ["I(2 * x)", "one"]


def test_warnings_name_the_line_of_the_caller():
    data = pd.DataFrame({"y": [0, 0, 0, 1, 1, 1], "x": np.arange(6.0)})
    with pytest.warns(qvreg.SeparationWarning) as seen:
        qvreg.logit("y ~ x", data)
        qvreg.fit_chunks([data], "y ~ x", "logit")
    assert [warning.filename for warning in seen] == [__file__] * 2


@pytest.mark.parametrize("term", ["x.shift(1)", "I(x - x.mean())", "np.cumsum(x)", "pd.cut(x, 3)", "x.rank()"])
def test_terms_of_other_rows_are_no_terms_of_chunks(table, term):
    expected = (f"The term {term!r} takes its values from other rows, too, and a chunk has only some of them. Make a "
                "column of it before the fit; center(x) and standardize(x) are those of all chunks.")
    chunks = [table.iloc[:200], table.iloc[200:]]
    assert sentence(qvreg.fit_chunks, chunks, f"y ~ {term}") == expected
    assert sentence(qvreg.fit_chunks, chunks, f"{term} ~ z") == expected
    assert qvreg.ols(f"y ~ {term}", table).nobs >= 399


def test_terms_of_chunks_that_go_by_row(table):
    chunks = [table.iloc[:1], table.iloc[1:200], table.iloc[200:]]
    for term in ("np.log(positive)", "a", "C(k)", "c", "x*z", "bs(x, df=4)", "x.abs()", "a.fillna('p')"):
        assert qvreg.fit_chunks(chunks, f"y ~ {term}").nobs == 400
    dicts = [{name: chunk[name].to_numpy() for name in chunk} for chunk in chunks]
    assert qvreg.fit_chunks(dicts, "y ~ a + np.exp(x)").nobs == 400
    assert qvreg.fit_chunks([chunk.to_records() for chunk in chunks], "y ~ np.exp(x)").nobs == 400


def test_numbers_are_no_classes():
    data = {"y": RNG.normal(size=400), "x": RNG.normal(size=400)}
    expected = ("The response 'y' has 400 classes in 400 rows. For a number, use ols; for classes, have fewer of "
                "them.")
    assert sentence(qvreg.mnlogit, "y ~ x", data) == expected
    assert sentence(qvreg.logit, "y ~ x", data) == expected
    thirds = {"y": np.repeat(data["y"][:133], 3), "x": data["x"][:399]}
    assert sentence(qvreg.mnlogit, "y ~ x", thirds) == expected.replace("400 classes in 400", "133 classes in 399")


def test_few_rows_have_classes():
    data = {"y": list("abcabcbca"), "x": [1.0, 2.0, 3.0, 2.0, 4.0, 4.5, 2.5, 2.0, 3.0]}
    assert len(qvreg.mnlogit("y ~ x", data).classes) == 3


def test_counts_of_events_are_no_response(small):
    assert sentence(qvreg.logit, "np.column_stack([y, x]) ~ x", small) == (
        "The response 'np.column_stack([y, x])' has 2 columns. Counts of events and others are no response: give a row "
        "for each class, and their numbers as freq_weights=.")


def test_an_infinite_response_is_no_class(small):
    for values in ([np.inf, 0.0, 1.0, 1.0], pd.array([np.inf, 0.0, 1.0, 1.0], "Float64")):
        for fit in (qvreg.logit, qvreg.mnlogit):
            assert sentence(fit, "y ~ x", small.assign(y=values)) == (
                "The response 'y' is infinite in row 0 (counted from 0). Replace infinite values by NaN to have their "
                "rows left out, or by numbers.")
    chunks = [small.assign(y=[0.0, 1, 0, 1]), small.assign(y=[0.0, 1, -np.inf, 1])]
    assert sentence(qvreg.fit_chunks, chunks, "y ~ x", "logit").startswith("The response 'y' is infinite in row 6 ")


def test_indexes_that_differ(small):
    expected = ("The term 'x' and the response 'y' have indexes that differ, so that it is not clear which values make "
                "a row. Put them into one DataFrame, or take .to_numpy() of them to go by their order.")
    turned = {"y": small.y, "x": small.x.iloc[::-1]}
    assert sentence(qvreg.ols, "y ~ x", turned) == expected
    assert sentence(qvreg.fit_chunks, [turned], "y ~ x") == expected
    results = qvreg.ols("y ~ x", {"y": small.y, "x": small.x.iloc[::-1].to_numpy()})
    assert results.nobs == 4 and qvreg.ols("y ~ x", {"y": small.y, "x": small.x.copy()}).nobs == 4
    results = qvreg.ols("y ~ x + g", small)
    assert sentence(results.predict, {"g": small.g, "x": small.x.iloc[::-1]}).startswith(
        "The term 'g' and the term 'x' have indexes that differ")


@pytest.mark.parametrize("values", [
    [f"{number}.5" for number in range(30)],
    [*map(float, range(29)), None],
    [Decimal(number) for number in range(30)],
    [*map(float, range(29)), "oops"],
])
def test_numbers_as_text_or_objects_warn(values):
    data = {"y": np.arange(30.0), "x": np.array(values, dtype=object)}
    with pytest.warns(qvreg.DataWarning) as seen:
        qvreg.ols("y ~ x", data)
    levels = 29 if None in values else 30
    assert str(seen[0].message) == (
        f"The term 'x' is text or objects, and so a factor: it has {levels} levels in 30 rows. If they are numbers, "
        "convert the column, as with pandas.to_numeric; C(…) says that they are levels.")


def test_factors_that_are_meant_do_not_warn(small):
    data = pd.DataFrame({"y": np.arange(30.0), "x": [str(number) for number in range(30)], "few": list("abc") * 10})
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        for term, table in (("C(x)", data), ("x", data.astype({"x": "category"})), ("few", data), ("g", small)):
            assert qvreg.ols(f"y ~ {term}", table).nobs == len(table)


LOST = ("The base level {!r} of the factor {!r} has no row that can be used: the level {!r} has taken its place, and "
        "the others are compared with it. base={{{!r}: …}} chooses one that has rows.")


@pytest.mark.parametrize("formula, base, column, lost, taken", [
    ("y ~ a + x", None, "a", "p", "r"),
    ("y ~ a*x + b", None, "a", "p", "r"),
    ("y ~ a + x", {"a": "q"}, "a", "q", "r"),
    ("y ~ C(a, Treatment('r')) + x", None, "a", "r", "q"),
    ("y ~ b + c - 1", None, "c", "low", "high"),
    ("event ~ c*b + x", None, "c", "low", "high"),
])
def test_a_base_level_without_rows_warns(table, formula, base, column, lost, taken):
    holes = table.assign(w=table.w.mask(table[column] == lost, 0.0), z=table.z.mask(table[column] == lost))
    name = "C(a, Treatment('r'))" if "Treatment" in formula else column
    fit = qvreg.logit if formula.startswith("event") else qvreg.ols
    chunks = [holes[:150], holes[150:]]
    for function, options in ((fit, {"weights": "w"}), (fit, {})):
        with pytest.warns(qvreg.DataWarning) as seen:
            results = function(formula if options else formula + " + z", holes, base=base, **options)
        assert [str(warning.message) for warning in seen] == [LOST.format(lost, name, taken, name)]
        assert seen[0].filename == __file__
        assert f"{name}[T.{taken}]" in results.redundant
    with pytest.warns(qvreg.DataWarning) as seen:
        qvreg.fit_chunks(chunks, formula, fit.__name__, weights="w", base=base)
    assert [str(warning.message) for warning in seen] == [LOST.format(lost, name, taken, name)]


def test_a_base_level_that_no_row_is_compared_with_does_not_warn(table):
    holes = table.assign(w=table.w.mask(table.a == "p", 0.0))
    cells = table.assign(w=table.w.mask((table.a == "p") & (table.b == "u"), 0.0))
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        assert qvreg.ols("y ~ a - 1", holes, weights="w").redundant == ["a[p]"]
        assert qvreg.ols("y ~ a + x", holes, weights="w", base={"a": "q"}).redundant == ["a[T.p]"]
        qvreg.ols("y ~ a*b", cells, weights="w")


def test_too_many_levels_are_named():
    data = {"y": np.arange(60_000.0), "g": pd.Categorical(np.arange(60_000) % 50_000)}
    assert sentence(qvreg.ols, "y ~ g", data).endswith("The factor with the most levels is 'g': it has 50000.")


def test_functions_of_the_caller_are_not_saved(table, tmp_path):
    def half(values):
        return values / 2

    shift = 1.0
    for term, name in (("half(x)", "half"), ("I(x - shift)", "shift")):
        results = qvreg.ols(f"y ~ {term}", table)
        expected = (f"The term {results.names[1]!r} uses {name!r}, which is not saved or pickled with the model: only "
                    "columns, np and functions of patsy are known where it is read. Make a column of it before the "
                    "fit.")
        assert sentence(results.save, tmp_path / "model") == expected
        assert sentence(pickle.dumps, results) == expected
    assert (half(shift), list(tmp_path.iterdir())) == (0.5, [])


def test_names_of_columns_hide_those_of_the_caller(table, tmp_path):
    x = y = None
    qvreg.ols("y ~ x", table).save(tmp_path / "model")
    assert (x, y, qvreg.load(tmp_path / "model").nobs) == (None, None, 400)


def test_frequency_weights_are_whole(small):
    assert sentence(qvreg.ols, "y ~ x", small, freq_weights=[1.0, 2.0, 0.5, 1.0]) == (
        "The argument freq_weights has the value 0.5: it says how often a row was observed, and is whole. weights= "
        "takes the precision of rows.")
    assert qvreg.ols("y ~ x", small, freq_weights=[1.0, 2.0, np.nan, 1.0]).nobs == 4


@pytest.mark.parametrize("alpha", [5, 95, -1, 0, 1, "0.05", np.nan, None])
def test_alpha_is_a_share(small, alpha):
    results = qvreg.ols("y ~ x", small)
    prediction = results.get_prediction(small)
    for function in (results.conf_int, results.summary, prediction.conf_int, prediction.summary_frame):
        with pytest.raises(ValueError) as raised:
            function(alpha=alpha)
        assert str(raised.value) == (
            f"alpha={alpha!r}: a number between 0 and 1 is needed. 0.05 gives intervals of 95 %.")


@pytest.mark.parametrize("number", [0, -1, 2.5, True])
def test_a_fit_has_iterations(number):
    data = {"y": [0, 0, 1, 0, 1, 1], "x": np.arange(6.0)}
    assert sentence(qvreg.logit, "y ~ x", data, max_iterations=number) == (
        f"max_iterations={number!r}: a whole number from 1 on is needed.")
    with pytest.raises(ValueError) as raised:
        LogisticRegression(max_iter=number).fit(data["x"][:, None], data["y"])
    assert str(raised.value) == f"max_iter={number!r}: a whole number from 1 on is needed."
