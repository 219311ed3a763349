"""Tail probabilities beside scipy's."""

import numpy as np
import pytest
from qvreg import _distributions as own
from scipy import stats

PRECISION = 1e-9


@pytest.mark.parametrize("df", [1, 2, 3.5, 10, 39, 41, 100, 1e4, 1e6])
def test_t(df):
    t = np.array([0.0, 1e-8, 0.01, 0.5, 1.0, 1.96, -2.5, 5.0, 10.0, 30.0])
    np.testing.assert_allclose(own.t_two_sided(t, df), 2 * stats.t.sf(np.abs(t), df), rtol=PRECISION)
    for tail in (0.9, 0.05, 1e-6):
        assert own.t_two_sided(own.t_quantile(tail, df), df) == pytest.approx(tail, rel=1e-10)


@pytest.mark.parametrize("df1, df2, f", [(1, 10, 3.0), (5, 300, 2.2), (500, 1e6, 1.1), (10, 1e6, 30), (3, 3, 0.1),
                                         (20, 25, 1.5), (1, 1e7, 4.0)])
def test_f(df1, df2, f):
    assert own.f_upper(f, df1, df2) == pytest.approx(stats.f.sf(f, df1, df2), rel=PRECISION)


@pytest.mark.parametrize("df", [1, 2, 5, 30, 400])
@pytest.mark.parametrize("x", [0.1, 1.0, 5.0, 40.0, 300.0])
def test_chi_square(df, x):
    assert own.chi_square_upper(x, df) == pytest.approx(stats.chi2.sf(x, df), rel=PRECISION)


def test_normal():
    z = np.array([0.0, -1.0, 2.0, 8.0, 30.0])
    np.testing.assert_allclose(own.normal_two_sided(z), 2 * stats.norm.sf(np.abs(z)), rtol=1e-12)
    assert own.normal_quantile(0.05) == pytest.approx(stats.norm.ppf(0.975), rel=1e-12)


def test_what_is_not_defined():
    assert np.isnan(own.t_two_sided(np.nan, 5)) and np.isnan(own.t_two_sided(1.0, 0))
    assert np.isnan(own.f_upper(1.0, 0, 5)) and np.isnan(own.chi_square_upper(1.0, 0))
    assert own.f_upper(0.0, 1, 5) == 1.0 and own.f_upper(np.inf, 1, 5) == 0.0
    assert own.t_two_sided(np.inf, 5) == 0.0
