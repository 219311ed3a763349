"""Data in chunks give what the whole table gives."""

import numpy as np
import pandas as pd
import pytest
import qvreg
from near import assert_near, assert_same_series


def chunks_of(table, size=64):
    return lambda: (table.iloc[begin:begin + size] for begin in range(0, len(table), size))


@pytest.mark.parametrize("model, formula, options", [
    ("ols", "y ~ a*x + c", {}),
    ("ols", "y ~ a - 1", {"weights": "w", "vcov": "hc1"}),
    ("ols", "y ~ center(x) + standardize(z)", {"freq_weights": "count"}),
    ("logit", "event ~ a*x", {}),
    ("mnlogit", "kind ~ a + x", {"vcov": "hc0", "reference": "mid"}),
])
def test_chunks_give_what_the_whole_gives(table, model, formula, options):
    got = qvreg.fit_chunks(chunks_of(table), formula, model, **options)
    expected = getattr(qvreg, model)(formula, table, **options)
    for name in ("params", "bse", "pvalues"):
        assert_near(getattr(got, name), getattr(expected, name), 1e-10)
    assert got.nobs == expected.nobs and got.llf == pytest.approx(expected.llf, rel=1e-12)
    assert list(got.params.index) == list(expected.params.index)


@pytest.mark.parametrize("model, formula", [("ols", "y ~ a*x + z"), ("mnlogit", "kind ~ a + x*z")])
def test_bits_depend_neither_on_chunks_nor_on_threads(table, model, formula):
    whole = qvreg.fit_chunks([table], formula, model)
    for size, threads in ((7, None), (64, 1), (199, 4)):
        got = qvreg.fit_chunks(chunks_of(table, size), formula, model, threads=threads)
        assert (got.params == whole.params).all(axis=None) and (got.bse == whole.bse).all(axis=None)


def test_levels_of_all_chunks(table):
    ordered = table.sort_values("a", ascending=False)
    got = qvreg.fit_chunks(chunks_of(ordered), "y ~ a")
    assert_same_series(got.params, qvreg.ols("y ~ a", table).params)
    lists = qvreg.fit_chunks([ordered.iloc[:100], ordered.iloc[100:]], "y ~ a")
    assert_same_series(lists.params, got.params)


def test_chunks_of_a_file(table, tmp_path):
    path = tmp_path / "table.csv"
    table.to_csv(path, index=False)
    got = qvreg.fit_chunks(lambda: pd.read_csv(path, chunksize=50), "kind ~ b + x", "mnlogit")
    assert_near(got.params, qvreg.mnlogit("kind ~ b + x", table).params, 1e-10)


def test_chunks_with_missing_values_and_without_rows(table):
    holes = table.assign(x=table.x.where(table.x < 1))
    parts = [holes.iloc[:100], holes.iloc[:0], holes.iloc[100:]]
    assert_same_series(qvreg.fit_chunks(parts, "y ~ x").params, qvreg.ols("y ~ x", holes).params)
    with pytest.raises(qvreg.DataError, match="The term 'x' has missing values"):
        qvreg.fit_chunks(parts, "y ~ x", missing="raise")


def test_an_exception_of_the_reader_comes_out(table):
    passes = []

    def read():
        passes.append(1)
        yield table.iloc[:100]
        if len(passes) > 2:
            raise OSError("the disk is gone")
        yield table.iloc[100:]

    with pytest.raises(OSError, match="the disk is gone"):
        qvreg.fit_chunks(read, "y ~ x")
    assert len(passes) == 3


def sentence(*arguments, **options):
    with pytest.raises(qvreg.QvregError) as raised:
        qvreg.fit_chunks(*arguments, **options)
    return str(raised.value)


def test_what_cannot_be_read_again(table):
    assert sentence(iter([table]), "y ~ x") == (
        "The chunks can be read once only, and a fit reads them several times. Give a function that starts again, as "
        "in fit_chunks(lambda: reader(), …).")
    assert sentence(5, "y ~ x") == (
        "Chunks are needed as a function that returns them, or as a list of them, not int.")
    assert sentence(table, "y ~ x") == (
        "A whole table is no list of chunks: give it to ols, logit or mnlogit, or in a list. pandas.read_csv gives "
        "chunks with chunksize=.")
    assert sentence(lambda: table, "y ~ x") == sentence(table, "y ~ x")
    assert sentence(table.to_records(), "y ~ x") == sentence(table, "y ~ x")
    assert sentence("big.csv", "y ~ x") == (
        "Chunks are needed as a function that returns them, or as a list of them, not str. A file is read by "
        "fit_chunks(lambda: pandas.read_csv(path, chunksize=100_000), …).")
    assert sentence(lambda: "big.csv", "y ~ x") == sentence("big.csv", "y ~ x")
    once = iter([table])
    assert sentence(lambda: once, "y ~ x") == sentence(iter([table]), "y ~ x")
    assert sentence([], "y ~ x") == "There are no chunks, and so no rows."


@pytest.mark.parametrize("model, formula", [
    ("ols", "y ~ x"), ("ols", "y ~ C(k)"), ("ols", "y ~ 1"), ("ols", "y ~ center(x)"), ("ols", "y ~ bs(x, df=4)"),
    ("logit", "event ~ x"), ("mnlogit", "kind ~ a")])
def test_chunks_without_rows(table, model, formula):
    for count in (1, 3):
        assert sentence([table[:0]] * count, formula, model) == "The data have no rows."
    assert sentence([], formula, model) == "There are no chunks, and so no rows."


def test_rows_that_are_gone_in_later_passes(table):
    passes = []

    def read():
        passes.append(1)
        return [table if len(passes) == 1 else table[:0]]

    assert sentence(read, "y ~ x") == "The data have no rows."


def test_passes_that_differ(table):
    passes = []

    def read():
        passes.append(1)
        return [table.iloc[:400 - 10 * (len(passes) > 2)]]

    assert "390" in sentence(read, "y ~ x") and len(passes) == 4


def test_types_that_change(table):
    parts = [table.iloc[:200], table.iloc[200:].astype({"x": str})]
    assert sentence(parts, "y ~ x") == (
        "The term 'x' is a number in some chunks and a category in others. Read its column with one type.")


@pytest.mark.parametrize("order", [[0, 1, 2], [1, 0, 2], [2, 1, 0]])
def test_text_that_is_missing_in_a_whole_chunk(table, order):
    parts = [table.iloc[:100].assign(a=np.nan), table.iloc[100:200], table.iloc[200:]]
    got = qvreg.fit_chunks([parts[number] for number in order], "y ~ a + x")
    assert_near(got.params, qvreg.ols("y ~ a + x", table.iloc[100:]).params, 1e-10)
    assert got.nobs == 300


def test_infinite_values_in_a_chunk(table):
    holes = table.copy()
    holes.loc[150, "x"] = -np.inf
    assert sentence(chunks_of(holes), "y ~ x").startswith("The term 'x' is infinite in row 150 (counted from 0).")


def test_weights_of_chunks_are_columns(table):
    assert sentence([table], "y ~ x", weights=table.w) == "weights of chunks is the name of one of their columns."


def test_options_that_are_not_known(table):
    assert sentence([table], "y ~ x", colour=1).startswith("There is no option 'colour'. Choose among weights, ")
