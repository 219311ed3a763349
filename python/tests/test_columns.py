"""Columns of every type and layout give the same fit."""

import numpy as np
import pandas as pd
import pytest
import qvreg
from near import assert_near


@pytest.fixture(scope="module")
def whole():
    rng = np.random.default_rng(11)
    k = rng.integers(0, 100, 500)
    return {"k": k, "y": 0.5 * k + rng.normal(size=500)}


@pytest.mark.parametrize("dtype", ["i1", "i2", "i4", "i8", "u1", "u2", "u4", "u8", "f2", "f4", "f8", "g", ">i4", ">f8",
                                   "Int16", "UInt8", "Float32"])
def test_types_of_numbers(whole, dtype):
    expected = qvreg.ols("y ~ k", whole)
    values = pd.Series(whole["k"]).astype(dtype) if dtype[0] in "IUF" else whole["k"].astype(dtype)
    got = qvreg.ols("y ~ k", {"y": whole["y"], "k": values})
    assert (got.params == expected.params).all()
    assert (got.predict({"k": values}) == expected.predict(whole)).all()


@pytest.mark.parametrize("lay_out", [
    lambda values: values[::-1].copy()[::-1],
    lambda values: np.column_stack([values, values])[:, 1],
    lambda values: np.repeat(values, 3)[::3],
    lambda values: np.rec.fromarrays([np.zeros(500, "i1"), values], names="a,b")["b"],
    lambda values: np.asfortranarray(values[:, np.newaxis]),
    lambda values: values.tolist(),
])
def test_layouts(whole, lay_out):
    got = qvreg.ols("y ~ k", {"y": lay_out(whole["y"]), "k": lay_out(whole["k"])})
    assert (got.params == qvreg.ols("y ~ k", whole).params).all()


def test_one_value_for_all_rows(whole):
    weights = np.broadcast_to(2.0, 500)
    assert_near(qvreg.ols("y ~ k", whole, weights=weights).bse, qvreg.ols("y ~ k", whole).bse)


def test_masks(whole):
    hidden = np.arange(500) % 5 == 0
    got = qvreg.ols("y ~ k", {"y": whole["y"], "k": np.ma.masked_array(whole["k"], hidden)})
    expected = qvreg.ols("y ~ k", {name: values[~hidden] for name, values in whole.items()})
    assert_near(got.params, expected.params, 1e-12)
    assert got.nobs == 400


@pytest.mark.parametrize("kind", ["category", "object", "U3", "string"])
@pytest.mark.parametrize("n_levels", [3, 100, 200])
def test_types_of_factors(kind, n_levels):
    rng = np.random.default_rng(n_levels)
    numbers = rng.integers(0, n_levels, 5000)
    y = numbers + rng.normal(size=5000)
    text = pd.Series([f"{number:03}" for number in numbers])
    values = text.to_numpy().astype("U3") if kind == "U3" else text.astype(kind)
    got = qvreg.ols("y ~ g", {"y": y, "g": values})
    means = np.array([y[numbers == level].mean() for level in range(n_levels)])
    assert_near(got.params.iloc[0], means[0])
    assert_near(got.params.iloc[1:], means[1:] - means[0])
