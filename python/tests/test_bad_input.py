"""What cannot be used is refused with a sentence."""

import numpy as np
import pandas as pd
import pytest
import qvreg


def sentence(function, *arguments, **options):
    with pytest.raises(qvreg.QvregError) as raised:
        function(*arguments, **options)
    return str(raised.value)


@pytest.fixture
def small():
    return pd.DataFrame({"y": [1.0, 2, 3, 5], "x": [0.0, 1, 2, 4], "g": list("abab")})


def test_data_without_columns():
    assert sentence(qvreg.ols, "y ~ x", np.zeros((3, 2))) == (
        "A formula needs data with named columns, not ndarray of shape (3, 2): a DataFrame, a dict of arrays or a "
        "structured array.")


def test_empty_frames(small):
    for fit, formula in ((qvreg.ols, "y ~ x"), (qvreg.ols, "y ~ g"), (qvreg.logit, "g ~ x"), (qvreg.mnlogit, "g ~ x")):
        assert sentence(fit, formula, small.iloc[:0]) == "The data have no rows."
    assert sentence(qvreg.ols, "y ~ x", {"y": [], "x": []}) == "The data have no rows."


def test_duplicate_names(small):
    assert sentence(qvreg.ols, "y ~ x", small.set_axis(["y", "x", "x"], axis=1)) == (
        "The data have 2 columns named 'x'. Rename all but one.")


def test_duplicate_names_that_are_not_used(small):
    twice = pd.concat([small, small.g, small.g], axis=1)
    assert qvreg.ols("y ~ x", twice).nobs == 4


def test_names_that_are_no_strings(small):
    numbered = small.set_axis([0, 1, 2], axis=1)
    assert sentence(qvreg.ols, "y ~ x", numbered) == (
        "There is no column 'y', and nothing else of that name; the columns are 0, 1, 2. Names of columns are to be "
        "text: 0 is not.")
    beside = small.assign(**{"w": 1.0}).rename(columns={"w": 7})
    assert qvreg.ols("y ~ x", beside).nobs == 4


def test_lengths_that_differ(small):
    data = {"y": small.y.to_numpy(), "x": np.zeros(3)}
    assert sentence(qvreg.ols, "y ~ x", data) == (
        "The term 'x' has 3 values, the response 'y' has 4: all need as many.")
    assert sentence(qvreg.ols, "y ~ x", small, weights=[1.0, 2.0]) == (
        "The term 'x' has 4 values, the argument weights has 2: all need as many.")


def test_objects_as_numbers(small):
    objects = small.assign(y=small.y.astype(object))
    assert sentence(qvreg.ols, "y ~ x", objects) == (
        "The response 'y' holds objects (the first is 1.0): numbers are needed. Convert the column, as with "
        "pandas.to_numeric, or make it categorical.")


def test_types_that_are_no_numbers(small):
    assert sentence(qvreg.ols, "g ~ x", small.assign(g=small.g.astype("string"))) == (
        "The response 'g' has the type string: numbers are needed.")
    assert sentence(qvreg.ols, "d ~ x", small.assign(d=pd.to_datetime("2026-01-01"))) == (
        "The response 'd' has the type datetime64[ns]: numbers are needed.")
    assert sentence(qvreg.ols, "c ~ x", {"c": np.ones(4) * 1j, "x": np.ones(4)}) == (
        "The response 'c' has the type complex128: numbers are needed.")


def test_infinite_values(small):
    results = qvreg.ols("y ~ x", small)
    small.loc[2, "x"] = np.inf
    expected = ("The term 'x' is infinite in row 2 (counted from 0). Replace infinite values by NaN to have their "
                "rows left out, or by numbers.")
    assert sentence(qvreg.ols, "y ~ x", small) == expected
    assert sentence(qvreg.ols, "y ~ x", small, missing="raise") == expected
    assert sentence(results.predict, small) == expected


def test_missing_values_that_are_to_be_refused(small):
    for column, value, name in (("x", np.nan, "The term 'x'"), ("g", None, "The term 'g'"),
                                ("y", np.nan, "The response 'y'")):
        holes = small.copy()
        holes.loc[1, column] = value
        assert sentence(qvreg.ols, "y ~ x + g", holes, missing="raise") == (
            f"{name} has missing values (the first in row 1, counted from 0), and missing='raise' was asked for. Fill "
            "them in, or leave their rows out with missing='drop'.")


def test_all_missing(small):
    assert sentence(qvreg.ols, "y ~ x", small.assign(x=np.nan)) == (
        "No row can be used: all 4 have a missing value. The term 'x' is missing in every row.")
    assert sentence(qvreg.ols, "y ~ np.log(x - 100)", small) == (
        "No row can be used: all 4 have a missing value. The term 'np.log(x - 100)' is missing in every row: look at "
        "what it gives.")
    assert sentence(qvreg.ols, "y ~ center(x)", small.assign(x=[1.0, np.nan, 2.0, 4.0])).endswith(
        "The term 'center(x)' is missing in every row: look at what it gives.")
    assert sentence(qvreg.ols, "y ~ x", small.assign(x=[1.0, np.nan] * 2, y=[np.nan, 1.0] * 2)) == (
        "No row can be used: all 4 have a missing value.")
    assert sentence(qvreg.ols, "y ~ g", small.assign(g=None)) == "The term 'g' has no value that is not missing."


def test_weights_that_leave_nothing(small):
    assert sentence(qvreg.ols, "y ~ x", small, weights=np.zeros(4)) == (
        "No row can be used: all 4 have a weight of 0.")
    assert sentence(qvreg.ols, "y ~ x", small, weights=-small.y) == (
        "The argument weights has negative values: weights are 0 or more.")
    assert sentence(qvreg.ols, "y ~ x", small, weights="v") == "weights='v' names no column of the data."


@pytest.mark.parametrize("response", ["C(g)", "C(x)", "C(g, Treatment('b'))"])
def test_a_category_as_response_of_numbers(small, response):
    expected = f"The response {response!r} is a category, and ols takes a number: for classes, use logit or mnlogit."
    assert sentence(qvreg.ols, f"{response} ~ y", small) == expected
    assert sentence(qvreg.fit_chunks, [small], f"{response} ~ y") == expected


def test_one_class(small):
    assert sentence(qvreg.logit, "g ~ x", small.assign(g="a")) == (
        "The response 'g' has one class only ('a'): two are needed.")
    assert sentence(qvreg.logit, "g ~ x", small.assign(x=[1.0, np.nan, 2.0, np.nan])) == (
        "The rows that can be used have one class only: two are needed. Rows are left out for missing values and "
        "for weights of 0.")


def test_three_classes_for_two(small):
    assert sentence(qvreg.logit, "g ~ x", small.assign(g=list("abca"))) == (
        "The response 'g' has 3 classes, and logit takes two: use mnlogit.")


def test_a_reference_that_is_no_class(small):
    assert sentence(qvreg.mnlogit, "g ~ x", small, reference="c") == (
        "The response 'g' has no class 'c' to be the reference. Its classes are 'a', 'b'.")


def test_a_reference_whose_rows_are_left_out():
    data = pd.DataFrame({"g": list("abcabcabc"), "x": [0.0, 1, 2, 4, 3, 1, np.nan, 2, 0], "w": 1.0})
    expected = ("The class 'c' of the response 'g' is to be the reference, and no row of it can be used. Rows are left "
                "out for missing values and for weights of 0.")
    missing = data.assign(x=data.x.mask(data.g == "c"))
    assert sentence(qvreg.mnlogit, "g ~ x", missing, reference="c") == expected
    assert sentence(qvreg.fit_chunks, [missing[:4], missing[4:]], "g ~ x", "mnlogit", reference="c") == expected
    for name in ("weights", "freq_weights"):
        unweighted = data.assign(w=data.w.mask(data.g == "c", 0.0))
        assert sentence(qvreg.mnlogit, "g ~ x", unweighted, reference="c", **{name: "w"}) == expected
    assert qvreg.mnlogit("g ~ x", data, reference="c").reference == "c"


def test_two_dimensions(small):
    data = {"y": small.y.to_numpy(), "x": np.zeros((4, 1, 1))}
    assert sentence(qvreg.ols, "y ~ x", data) == (
        "The term 'x' has 3 dimensions: one or two are possible.")
    assert sentence(qvreg.ols, "y ~ 1", {"y": np.zeros((4, 2))}) == (
        "The response 'y' has the shape (4, 2): one dimension, a value per row, is needed.")


def test_levels_that_the_fit_has_not_seen(small):
    results = qvreg.ols("y ~ g", small)
    assert sentence(results.predict, pd.DataFrame({"g": ["a", "c"]})) == (
        "The term 'g' has the value 'c', which is none of its 2 levels ('a', 'b').")


def test_choices(small):
    assert sentence(qvreg.ols, "y ~ x", small, missing="none") == (
        "missing='none' is not known. Choose 'drop' or 'raise'.")
    assert sentence(qvreg.ols, "y ~ x", small, vcov="hc9") == (
        "vcov='hc9' is not known. Choose 'nonrobust' or 'hc0' or 'hc1'.")
    assert sentence(qvreg.ols, "y ~ x", small, threads=0) == (
        "threads=0: a whole number from 1 on is needed, or None for as many as the machine has cores.")


def test_choices_are_value_errors(small):
    for options in ({"missing": "none"}, {"vcov": "hc9"}, {"vcov": ["hc0"]}, {"threads": 0}, {"base": "b"}):
        with pytest.raises(ValueError):
            qvreg.ols("y ~ x", small, **options)
    with pytest.raises(ValueError):
        qvreg.fit_chunks([small], "y ~ x", option=1)
    assert sentence(qvreg.ols, "y ~ x", small, base="b") == (
        "base='b': a level by the name of its factor is needed, as in base={'species': 'Gentoo'}.")


def test_values_that_are_lists(small):
    lists = small.assign(g=[[1], [2], [1], [2]])
    expected = "{} has values that can be no levels: unhashable type: 'list'. Convert them, as to text."
    assert sentence(qvreg.ols, "y ~ g", lists) == expected.format("The term 'g'")
    assert sentence(qvreg.logit, "g ~ x", lists) == expected.format("The response 'g'")


def test_no_columns(small):
    assert sentence(qvreg.ols, "y ~ 0", small) == (
        "The formula has no term to the right of its '~', not even an intercept.")


def test_formulas_are_text(small):
    assert sentence(qvreg.ols, small.y, small) == "A formula is text, as 'y ~ x', not Series."


def test_a_name_that_is_not_known(small):
    assert sentence(qvreg.ols, "y ~ nothing", small) == (
        "There is no column 'nothing', and nothing else of that name; the columns are 'y', 'x', 'g'.")
    assert sentence(qvreg.ols("y ~ x + g", small).predict, small[["x"]]) == (
        "There is no column 'g', and nothing else of that name; the columns are 'x'.")


def test_data_without_any_column(small):
    expected = "There is no column 'x', and nothing else of that name; the data have no columns."
    assert sentence(qvreg.ols("y ~ x", small).predict, {}) == expected
    assert sentence(qvreg.ols("y ~ x", small).predict, small[[]]) == expected


def test_as_many_rows_as_parameters(small):
    results = qvreg.ols("y ~ x", small.iloc[:2])
    assert results.df_resid == 0 and np.isnan(results.bse).all() and np.isnan(results.rsquared_adj)
    assert "nan" in str(results.summary())


def test_as_many_rows_as_parameters_have_no_hc1(small, tmp_path):
    results = qvreg.ols("y ~ x", small[:2], vcov="hc1")
    assert results.df_resid == 0 and np.isnan(results.bse).all() and results.params.round(9).tolist() == [1.0, 1.0]
    assert np.isnan(results.get_prediction(small).se_mean).all() and np.isnan(results.conf_int()).all(axis=None)
    assert "nan" in str(results.summary())
    results.save(tmp_path / "model")
    assert np.isnan(qvreg.load(tmp_path / "model").bse).all()
    for fit, formula, n_rows, freedom in ((qvreg.logit, "g ~ x", 2, 0), (qvreg.mnlogit, "k ~ x", 3, -1)):
        with pytest.warns(qvreg.SeparationWarning):
            results = fit(formula, small[:n_rows].assign(k=list("abcd")[:n_rows]), vcov="hc1")
        assert results.df_resid == freedom and np.isnan(results.bse).all(axis=None) and "nan" in str(results.summary())
        assert np.isnan(results.cov_params()).all(axis=None)


def test_a_dependent_that_is_fitted_exactly(small):
    results = qvreg.ols("z ~ x", small.assign(z=2 * small.x))
    assert results.rsquared == 1.0 and results.fvalue == np.inf and results.llf == np.inf
