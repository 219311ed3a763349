"""Formulas give the parameters that statsmodels gives, by name and in its order."""

import numpy as np
import pandas as pd
import pytest
import qvreg
import statsmodels.formula.api as smf
from near import assert_near, assert_same_series
from test_bad_input import sentence
from patsy import Treatment  # noqa: F401 (formulas use it)

FORMULAS = [
    "y ~ 1",
    "y ~ x",
    "y ~ x - 1",
    "y ~ 0 + x + z",
    "y ~ a",
    "y ~ a + x",
    "y ~ a - 1",
    "y ~ a + b - 1",
    "y ~ a + x - 1",
    "y ~ c",
    "y ~ flag",
    "y ~ C(flag)",
    "y ~ C(k)",
    "y ~ a*b",
    "y ~ a:b",
    "y ~ a:b - 1",
    "y ~ a*b - a",
    "y ~ a*b - b",
    "y ~ a*b*c",
    "y ~ a + a:b",
    "y ~ b + a:b",
    "y ~ a/b",
    "y ~ a/x",
    "y ~ a*x",
    "y ~ a:x",
    "y ~ a:x - 1",
    "y ~ x + a:x",
    "y ~ x*a*b",
    "y ~ x:a + x:b",
    "y ~ (a + b + c)**2",
    "y ~ (a + b + x)**2 - a:x",
    "y ~ x*z",
    "y ~ x:z",
    "y ~ x + I(x**2) + I(x**3)",
    "y ~ np.log(positive) + np.exp(x)",
    "np.log(positive) ~ x + a",
    "y ~ Q('odd name') + a",
    "Q('odd name') ~ x",
    "y ~ C(a, Treatment('q'))",
    "y ~ C(a, Treatment('r'))*b",
    "y ~ C(a, Treatment(reference=1)) + x",
    "y ~ C(a, Treatment)",
    "y ~ C(a, levels=['r', 'q', 'p'])",
    "y ~ C(c, Treatment('mid')):x",
    "y ~ C(k, Treatment(3))*flag",
    "y ~ center(x) + standardize(z)",
    "y ~ bs(x, df=4)",
    "y ~ a*bs(z, df=4)",
    "y ~ scale * x",
    "y ~ a + b + x + a:x + b:x + z",
]
scale = np.linspace(0.5, 1.5, 400)


@pytest.mark.parametrize("formula", FORMULAS)
def test_parameters_are_those_of_statsmodels(table, formula):
    got, expected = qvreg.ols(formula, table), smf.ols(formula, table).fit()
    assert_same_series(got.params, expected.params)
    assert_same_series(got.bse, expected.bse)
    assert got.redundant == []
    assert_near(got.rsquared, expected.rsquared)
    assert_near(got.predict(table), expected.predict(table))


def test_base_takes_the_place_of_treatment(table):
    got = qvreg.ols("y ~ a*b", table, base={"a": "q", "b": "v"})
    expected = smf.ols("y ~ C(a, Treatment('q'))*C(b, Treatment('v'))", table).fit()
    assert_near(got.params, expected.params)
    assert list(got.params.index)[:3] == ["Intercept", "a[T.p]", "a[T.r]"]


def test_redundant_parameters_are_named_apart(table):
    twice = table.assign(x2=2 * table.x)
    results = qvreg.ols("y ~ x + x2 + a", twice)
    assert results.redundant == ["x2"]
    assert list(results.params.index) == ["Intercept", "a[T.q]", "a[T.r]", "x"]
    assert_same_series(results.params, smf.ols("y ~ x + a", table).fit().params)


def test_levels_without_observations_are_redundant(table):
    some = table[table.c != "mid"]
    results = qvreg.ols("y ~ c + x", some)
    assert results.redundant == ["c[T.mid]"]
    expected = smf.ols("y ~ c + x", some.assign(c=some.c.cat.remove_unused_categories())).fit()
    assert_same_series(results.params, expected.params)


def test_combinations_without_observations_are_redundant(table):
    some = table[(table.a != "q") | (table.b != "v")]
    results, expected = qvreg.ols("y ~ a*b", some), smf.ols("y ~ a*b", some).fit()
    assert results.redundant == ["a[T.q]:b[T.v]"]
    assert_near(results.predict(some), expected.predict(some))
    assert_near(results.df_resid, expected.df_resid)


def test_levels_of_mixed_types_are_all_there(table):
    mixed = table.assign(m=table.a.map({"p": 1, "q": "one", "r": 2.5}).astype(object))
    results = qvreg.ols("y ~ m", mixed)
    assert results.nobs == 400
    assert results.df_model == 2


def test_numbers_need_no_pandas_around_them(table):
    data = {name: table[name].to_numpy() for name in ("y", "x", "a")}
    assert_near(qvreg.ols("y ~ a*x", data).params, smf.ols("y ~ a*x", table).fit().params)
    structured = table[["y", "x"]].to_records(index=False)
    assert_near(qvreg.ols("y ~ x", structured).params, smf.ols("y ~ x", table).fit().params)


@pytest.mark.parametrize("formula, sentence", [
    ("y ~ xx", "There is no column 'xx', and nothing else of that name; the nearest column is 'x'."),
    ("y ~ C(a, Sum)", "C(a, Sum) asks for Sum contrasts: only treatment coding is offered. Write C(…) or "
                      "C(…, Treatment(\"level\"))."),
    ("y ~ C(a, Treatment('s'))", "C(a, Treatment('s')) has no level 's' to be the base. The levels are "
                                 "'p', 'q', 'r'."),
    ("~ x", "A formula needs one response to the left of its '~', as in 'y ~ x'."),
    ("y + z ~ x", "A formula needs one response to the left of its '~', as in 'y ~ x'."),
])
def test_formulas_that_cannot_be_fitted(table, formula, sentence):
    with pytest.raises(qvreg.FormulaError) as raised:
        qvreg.ols(formula, table)
    assert str(raised.value) == sentence


def test_a_formula_that_cannot_be_read_says_where(table):
    with pytest.raises(qvreg.FormulaError, match="The formula cannot be read"):
        qvreg.ols("y ~ x +", table)


@pytest.mark.parametrize("text", ["my x", "class", "lambda", "1st"])
@pytest.mark.parametrize("formula", ["y ~ {}", "y ~ x + {}*z", "{} ~ x"])
def test_names_that_are_no_expressions(table, text, formula):
    assert sentence(qvreg.ols, formula.format(text), table) == (
        f"The formula cannot be read: {text!r} is no expression of Python. If it is the name of a column, write "
        f"Q(\"{text}\").")


def test_a_dot_is_no_term(table):
    assert sentence(qvreg.ols, "y ~ .", table) == (
        "The formula cannot be read: '.' does not stand for all columns. Name them, as 'y ~ ' + ' + '.join(names) "
        "does.")


def test_columns_that_need_quotes_are_named(table):
    named = table.rename(columns={"x": "p-q", "z": "y.z", "positive": "np.pi-r"})
    assert sentence(qvreg.ols, "y ~ p - q", named) == (
        "There is no column 'p', and nothing else of that name. The data have a column 'p-q': it is written "
        "Q(\"p-q\").")
    assert sentence(qvreg.ols, "y ~ np.pi - r", named.assign(r=1.0)) == (
        "The term 'np.pi' is one float, not a value per row. The data have a column 'np.pi-r': it is written "
        "Q(\"np.pi-r\").")
    assert sentence(qvreg.ols, "y ~ y.z", named) == (
        "The term 'y.z' cannot be evaluated: Error evaluating factor: AttributeError: 'Series' object has no attribute "
        "'z'. The data have a column 'y.z': it is written Q(\"y.z\").")
    assert sentence(qvreg.ols, "y ~ Q('p-q') + nothing", named).endswith("the columns are " + ", ".join(
        map(repr, list(named)[:8])) + ", ….")


@pytest.mark.parametrize("term, expected", [
    ("log(x)", "There is no function 'log': write np.log(…)."),
    ("poly(x, 2)", "There is no function 'poly': there are those of patsy, those of numpy as np.name(…), and what is "
                   "defined where the fit is called."),
])
def test_functions_that_are_not_there(table, term, expected):
    assert sentence(qvreg.ols, f"y ~ {term}", table) == expected


class Typed:
    """What has the type of an array, but no values."""

    dtype, ndim = np.dtype(float), 1


@pytest.mark.parametrize("term, kind", [("np", "module"), ("pytest", "module"), ("np.ndarray", "type"),
                                        ("pd.Series", "type"), ("len", "builtin_function_or_method"),
                                        ("Typed()", "Typed"), ("np.log", "ufunc"), ("{'a': [1]}", "dict")])
def test_objects_are_no_columns(table, term, kind):
    expected = f"is one {kind}, not a value per row."
    for formula in (f"y ~ {term}", f"y ~ C({term})", f"{term} ~ x"):
        with pytest.raises(qvreg.FormulaError) as raised:
            qvreg.ols(formula, table)
        assert str(raised.value).startswith("The term ") and str(raised.value).endswith(expected), formula
    with pytest.raises(qvreg.FormulaError) as raised:
        qvreg.fit_chunks([table], f"y ~ {term}")
    assert str(raised.value) == f"The term {term!r} {expected}"


@pytest.mark.parametrize("term, reason", [
    ("bs(x, df=1)", "df=1 is too small for degree=3 and include_intercept=False; must be >= 3"),
    ("bs(x)", "must specify either df or knots"),
    ("bs(x, df=4, degree=-1)", "degree must be greater than 0 (not -1)"),
    ("bs(x, knots=[99])", "some knot values ([99]) fall above upper bound ({highest!r})"),
    ("cr(x)", "Must specify either 'df' or 'knots'"),
    ("cr(x, df=1)", "'df'=1 must be greater than or equal to 2"),
    ("cc(x, df=0)", "'df'=0 must be greater than or equal to 1")])
def test_splines_that_cannot_be(table, term, reason):
    expected = f"The term {term!r} cannot be evaluated: {reason.format(highest=table.x.max())}."
    for fit, data in ((qvreg.ols, table), (lambda formula, read: qvreg.fit_chunks(read, formula), [table] * 2)):
        with pytest.raises(qvreg.FormulaError) as raised:
            fit(f"y ~ {term}", data)
        assert str(raised.value) == expected


def test_values_beyond_the_knots_of_a_spline(table):
    expected = ("The term {!r} has values beyond its outermost knots, where bs() is not defined. These are the limits "
                "of the data of the fit; lower_bound= and upper_bound= in bs() set others.")
    for term, data in (("bs(x, df=4)", table), ("bs(x, df=4)", table.assign(x=table.x - 99))):
        results = qvreg.ols(f"y ~ {term}", data)
        for call in (results.predict, results.get_prediction):
            with pytest.raises(qvreg.DataError) as raised:
                call({"x": [0.0, 99.0]})
            assert str(raised.value) == expected.format(term)
    with pytest.raises(qvreg.DataError) as raised:
        qvreg.ols("y ~ bs(x, df=4, upper_bound=0.5)", table)
    assert str(raised.value) == expected.format("bs(x, df=4, upper_bound=0.5)")
    wide = qvreg.ols("y ~ bs(x, df=4, lower_bound=-100, upper_bound=100)", table)
    assert np.isfinite(wide.predict({"x": [0.0, 99.0]})).all()


def test_base_names_a_factor(table):
    with pytest.raises(qvreg.FormulaError) as raised:
        qvreg.ols("y ~ a + x", table, base={"x": 1})
    assert str(raised.value) == "base= names 'x', which is no factor of the formula. Its factors are: a."


def test_days_are_levels(table):
    days = table.assign(day=pd.to_datetime("2026-01-01") + pd.to_timedelta(table.k, "D"))
    got = qvreg.ols("y ~ day", days)
    assert_near(got.params, smf.ols("y ~ C(k)", table).fit().params)
    assert_near(got.predict(days), qvreg.ols("y ~ C(k)", table).predict(table))


def test_names_of_the_caller(table):
    def square(values):
        return values ** 2

    assert_near(qvreg.ols("y ~ square(x)", table).params, smf.ols("y ~ I(x**2)", table).fit().params)
