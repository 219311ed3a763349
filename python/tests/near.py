"""Comparison of results with those of statsmodels."""

import numpy as np

PRECISION = 1e-8


def assert_near(got, expected, precision=PRECISION):
    """Arrays or numbers that differ by at most `precision` of the largest expected one, or of 1."""
    got, expected = np.asarray(got, float), np.asarray(expected, float)
    assert got.shape == expected.shape
    scale = max(1.0, np.max(np.abs(expected))) if expected.size else 1.0
    np.testing.assert_allclose(got, expected, rtol=precision, atol=precision * scale)


def assert_same_series(got, expected, precision=PRECISION):
    """Series with the same names, in the same order, and near values."""
    assert list(got.index) == list(expected.index)
    assert_near(got, expected, precision)
