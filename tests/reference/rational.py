"""Least squares in fractions: what the exact fits of both models are computed with."""

from dataclasses import dataclass
from decimal import Context, Decimal
from fractions import Fraction


def square_root(value):
    """The square root of a fraction, taken to 60 digits and rounded to double."""
    exact = Context(prec=60)
    return float(exact.sqrt(exact.divide(Decimal(value.numerator), Decimal(value.denominator))))


def dot(a, b):
    return sum((x * y for x, y in zip(a, b) if x and y), start=Fraction(0))


def cross_products(columns, weights=None):
    """Sums of weight times the products of two columns, for all pairs."""
    rows = [[Fraction(0)] * len(columns) for _ in columns]
    for i, column in enumerate(columns):
        if weights is not None:
            column = [w * x for w, x in zip(weights, column)]
        for j in range(i + 1):
            rows[i][j] = rows[j][i] = dot(column, columns[j])
    return rows


def sweep(matrix, pivots, tolerance=0):
    """Sweeps the matrix in place on the first pivots, leaving out those of which no more than the
    tolerance, as a share of the diagonal, is left. Returns the pivots swept and every share."""
    diagonal = [matrix[k][k] for k in range(pivots)]
    kept, shares = [], []
    for k in range(pivots):
        pivot = matrix[k][k]
        shares.append(pivot / diagonal[k] if diagonal[k] else Fraction(0))
        if shares[k] <= tolerance:
            continue
        kept.append(k)
        row = [value / pivot for value in matrix[k]]
        for i, other in enumerate(matrix):
            factor = other[k]
            if i == k or factor == 0:
                continue
            matrix[i] = [u - factor * v if v else u for u, v in zip(other, row)]
            matrix[i][k] = -factor / pivot
        row[k] = 1 / pivot
        matrix[k] = row
    return kept, shares


@dataclass
class Fit:
    """A weighted least squares fit: `estimates` and `variances` (unscaled) are 0 where a column is
    not kept, `shares` is what is left of each column beside those kept before it."""

    kept: list
    shares: list
    estimates: list
    variances: list
    residual: Fraction  # weighted sums of squares
    total: Fraction     # about the weighted mean where there is an intercept

    @property
    def r_square(self):
        return 1 - self.residual / self.total if self.total else Fraction(0)


def least_squares(columns, y, intercept, weights=None, tolerance=0):
    p = len(columns)
    m = cross_products(columns + [y], weights)
    kept, shares = sweep(m, p, tolerance)
    w = weights if weights is not None else [Fraction(1)] * len(y)
    mean = dot(w, y) / sum(w) if intercept else 0
    return Fit(kept, shares,
               [m[k][p] if k in kept else Fraction(0) for k in range(p)],
               [m[k][k] if k in kept else Fraction(0) for k in range(p)],
               m[p][p], sum(v * (x - mean) ** 2 for v, x in zip(w, y)))
