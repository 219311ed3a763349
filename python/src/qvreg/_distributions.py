"""Tail probabilities and quantiles of the normal, t, F and chi-square distributions.

numpy alone is required by the package, and has none of them. Continued fractions and series as in
Abramowitz and Stegun, *Handbook of Mathematical Functions* (26.5.8, 6.5.29, 6.5.31), the fractions
evaluated by Lentz's method; relative errors are below 1e-11.
"""

from __future__ import annotations

import math
from collections.abc import Callable, Iterator

import numpy as np

_TINY = 1e-300
_PRECISION = 1e-16
_MAX_TERMS = 1_000_000
# From here on Stirling's series is exact to the last digits.
_STIRLING_FROM = 20.0


def normal_two_sided(z: np.ndarray) -> np.ndarray:
    """P(|Z| > |z|)."""
    return np.vectorize(lambda x: math.erfc(abs(x) / math.sqrt(2.0)), otypes=[float])(z)


def t_two_sided(t: np.ndarray, df: float) -> np.ndarray:
    """P(|T| > |t|) with `df` degrees of freedom."""
    return np.vectorize(lambda x: _t_two_sided(float(x), df), otypes=[float])(t)


def _t_two_sided(t: float, df: float) -> float:
    if math.isnan(t) or not df > 0:
        return math.nan
    square = t * t
    if math.isinf(square):
        return 0.0
    return beta_ratio(df / 2, 0.5, df / (df + square), square / (df + square))


def f_upper(f: float, df1: float, df2: float) -> float:
    """P(F > f) with `df1` and `df2` degrees of freedom."""
    if not (df1 > 0 and df2 > 0) or math.isnan(f):
        return math.nan
    if f <= 0:
        return 1.0
    if math.isinf(f):
        return 0.0
    total = df2 + df1 * f
    return beta_ratio(df2 / 2, df1 / 2, df2 / total, df1 * f / total)


def chi_square_upper(x: float, df: float) -> float:
    """P(X > x) with `df` degrees of freedom."""
    if not df > 0 or math.isnan(x):
        return math.nan
    if x <= 0:
        return 1.0
    return _gamma_upper(df / 2, x / 2)


def normal_quantile(tail: float) -> float:
    """z with P(|Z| > z) = `tail`."""
    return _inverse(lambda z: math.erfc(z / math.sqrt(2.0)), tail)


def t_quantile(tail: float, df: float) -> float:
    """t with P(|T| > t) = `tail`."""
    if not df > 0:
        return math.nan
    return _inverse(lambda t: _t_two_sided(t, df), tail)


def _inverse(tail_of: Callable[[float], float], tail: float) -> float:
    """Where the falling function `tail_of` is `tail`, by bisection to the last digit."""
    if not 0.0 < tail < 1.0:
        return 0.0 if tail >= 1.0 else math.inf
    low, high = 0.0, 1.0
    while tail_of(high) > tail:
        low, high = high, high * 2
    while True:
        middle = (low + high) / 2
        if middle in (low, high):
            return middle
        if tail_of(middle) > tail:
            low = middle
        else:
            high = middle


def beta_ratio(a: float, b: float, x: float, complement: float) -> float:
    """The regularised incomplete beta function I_x(a, b), with 1 - x as `complement`."""
    if x <= 0.0:
        return 0.0
    if complement <= 0.0:
        return 1.0
    # Next to 1 the smaller of the two has the digits.
    log_x = math.log(x) if x < 0.5 else math.log1p(-complement)
    log_complement = math.log(complement) if complement < 0.5 else math.log1p(-x)
    front = math.exp(a * log_x + b * log_complement - _log_beta(a, b))
    if x < (a + 1) / (a + b + 2):
        return front * _beta_fraction(a, b, x) / a
    return 1.0 - front * _beta_fraction(b, a, complement) / b


def _beta_fraction(a: float, b: float, x: float) -> float:
    def coefficients() -> Iterator[tuple[float, float]]:
        yield 1.0, 1.0
        m = 0
        while True:
            yield -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1)), 1.0
            m += 1
            yield m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m)), 1.0

    return _continued_fraction(coefficients())


def _gamma_upper(a: float, x: float) -> float:
    """The regularised upper incomplete gamma function Q(a, x)."""
    front = math.exp(a * math.log(x) - x - math.lgamma(a))
    if x < a + 1:
        term = total = 1.0 / a
        n = a
        while term > total * _PRECISION:
            n += 1
            term *= x / n
            total += term
        return 1.0 - front * total

    def coefficients() -> Iterator[tuple[float, float]]:
        yield 1.0, x + 1 - a
        n = 1
        while True:
            yield -n * (n - a), x + 2 * n + 1 - a
            n += 1

    return front * _continued_fraction(coefficients())


def _continued_fraction(coefficients: Iterator[tuple[float, float]]) -> float:
    """a1 / (b1 + a2 / (b2 + ...)) of pairs (a, b), by the modified method of Lentz."""
    value, c, d = _TINY, _TINY, 0.0
    for _ in range(_MAX_TERMS):
        a, b = next(coefficients)
        d = 1.0 / ((b + a * d) or _TINY)
        c = (b + a / c) or _TINY
        value *= c * d
        if abs(c * d - 1.0) < _PRECISION * 4:
            break
    return value


def _log_beta(a: float, b: float) -> float:
    small, large = min(a, b), max(a, b)
    return math.lgamma(small) - _log_gamma_ratio(large, small)


def _log_gamma_ratio(a: float, b: float) -> float:
    """ln(gamma(a + b) / gamma(a)), without the digits that the difference of two logarithms loses."""
    if a < _STIRLING_FROM:
        return math.lgamma(a + b) - math.lgamma(a)
    return ((a - 0.5) * math.log1p(b / a) + b * (math.log(a + b) - 1.0)
            + _stirling_rest(a + b) - _stirling_rest(a))


def _stirling_rest(z: float) -> float:
    square = z * z
    return (1 / 12 - (1 / 360 - (1 / 1260 - 1 / (1680 * square)) / square) / square) / z
