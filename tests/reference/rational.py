"""Least squares in fractions: what the exact reference fits of both models are computed with."""

from fractions import Fraction


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
