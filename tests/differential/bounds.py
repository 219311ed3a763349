"""How far two right computations of a fit may be apart, from the condition of its design.

All follows from one number, E. Columns of the weighted design are divided by their lengths; kappa is 1
over the least singular value of what results, g the estimates in these units, y the response and r the
residuals, times the roots of the weights. A computation that is right for a design and a response which
are changed by a share delta of each column's length has residuals within

    E = delta (|g| + |y| + kappa |r|)

of the exact ones, and estimate j within v_j E, v_j being the root of element j of the diagonal of the
inverse of the scaled cross-products, at most kappa (Wedin's theorem, row by row: Higham, Accuracy and
Stability of Numerical Algorithms, section 20.1). The length of the residuals changes by no more than
delta (|g| + |y|), as what turns them is at right angles to them. A logistic fit is, at its maximum, a weighted fit of its
working response, with Pearson's residuals for r and the information for the cross-products.

delta is c units of rounding, 2^-53, times what the method sums: of Householder's factorization p sqrt(n)
(Higham, section 20.3, by the rule of thumb that roundings add up as their root); sqrt(p) where products
are summed exactly and only columns such as squares are rounded; sqrt(n p) where sums are plain. c is 4, a
few roundings for each operation, and is not to be fitted to results.

What the command's methods leave besides, by their descriptions in docs/numerics.md:
- a linear fit's covariance is what the sweep leaves of sums rounded to double, at the square of kappa, and
  is refined where a step changes an estimate by more than 1e-12 of it;
- its estimates are refined until a step changes none by more than 1e-11 of it, and its residual sum
  is that before the step less what the step takes off. Where the exact residuals are next to none, this
  difference is what is told: as much as 1e-11 |g| is allowed to their length;
- a logistic fit's last step may have changed estimates by the share of --parameter-criterion, and its
  covariance is the inverse of an information matrix in doubles, whose condition is the square of kappa.
"""

import math
from dataclasses import dataclass

import numpy

ROUNDING = 2.0 ** -53
C = 4.0
REFINED = 1e-11
REFINED_INVERSE = 1e-12


def householder(n, p):
    return C * ROUNDING * p * math.sqrt(n)


def exact_sums(n, p):
    del n
    return C * ROUNDING * math.sqrt(p)


def plain_sums(n, p):
    return C * ROUNDING * math.sqrt(n * p)


def length(values):
    return float(numpy.linalg.norm(values))


def p_value_change(p, slope, change):
    """`slope`: by what share p changes with the statistic."""
    grown = p * math.expm1(min(700.0, abs(slope) * change))
    return grown + 64 * ROUNDING * p + 1e-300


@dataclass
class Linear:
    """A fit's sizes; `design` has the kept columns."""

    def __init__(self, design, y, weights, n, intercept):
        """`n`: total frequency."""
        root = numpy.sqrt(weights)
        scaled = design * root[:, None]
        self.lengths = numpy.linalg.norm(scaled, axis=0)
        scaled = scaled / self.lengths
        u, singular, vt = numpy.linalg.svd(scaled, full_matrices=False)
        self.kappa = 1 / singular[-1]
        self.v = numpy.sqrt(((vt / singular[:, None]) ** 2).sum(axis=0))
        wy = root * y
        self.g = vt.T @ ((u.T @ wy) / singular)
        residual = wy - u @ (u.T @ wy)
        # Twice is enough for what the first projection leaves.
        residual = residual - u @ (u.T @ residual)
        self.residual, self.response = length(residual), length(wy)
        mean = float((weights * y).sum() / weights.sum()) if intercept else 0.0
        self.total = length(root * (y - mean))
        self.n, self.p, self.rows, self.i = n, design.shape[1], len(y), int(intercept)
        self.df = n - self.p
        self.log_weights = 0.0

    def error(self, delta):
        return delta * (length(self.g) + self.response + self.kappa * self.residual)

    def length_error(self, delta):
        return delta * (length(self.g) + self.response)

    def is_perfect(self, delta):
        """Whether rounding is more than a hundredth of the residuals."""
        return self.error(delta) >= 0.01 * self.residual

    def allowed(self, ours, delta, refined=0.0):
        """For each quantity of the fit, `ours`, the largest right difference."""
        e, s, t = self.length_error(delta), self.residual, self.total
        if self.is_perfect(delta):
            e += refined * length(self.g)
        swept = min(C * ROUNDING * self.p * self.kappa ** 2, REFINED_INVERSE) if refined else 0.0
        by = {}
        unit = self.v / self.lengths
        by["estimate"] = unit * self.error(delta) + 2 * ROUNDING * numpy.abs(ours.estimates)
        if self.df > 0:
            share = (delta * self.kappa + swept + 4 * ROUNDING) * s
            by["std_error"] = unit / math.sqrt(self.df) * (e + share)
            by["residual_std_error"] = e / math.sqrt(self.df) + 4 * ROUNDING * s
        if t > 0 and e < 0.01 * t:
            by["r_square"] = 4 * e / t * (1 + e / t) + 4 * ROUNDING
            if self.df > 0:
                by["adjusted_r_square"] = by["r_square"] * max(1.0, (self.n - self.i) / self.df) + 4 * ROUNDING
        if self.is_perfect(delta):
            return by
        relative = e / s + delta * self.kappa + swept + 8 * ROUNDING
        if self.df > 0:
            errors = unit * s / math.sqrt(self.df)
            statistics = numpy.abs(ours.estimates) / errors
            by["statistic"] = by["estimate"] / errors + statistics * 1.1 * relative
            explained = 4 * t * e + 4 * e * e
            if self.p > self.i and t > 0:
                f = (t * t - s * s) / (self.p - self.i) / (s * s / self.df)
                by["f_statistic"] = 2.2 * abs(f) * relative + explained / (self.p - self.i) / (s * s / self.df)
        terms = self.n * (abs(math.log(s * s / self.n)) + 3) + self.log_weights
        by["log_likelihood"] = 1.1 * self.n * e / s + 8 * ROUNDING * terms
        by["aic"] = by["bic"] = 2 * by["log_likelihood"] + 8 * ROUNDING * self.p * (2 + math.log(self.n))
        return by


class Logistic:
    """Sizes at the estimates of the categories but the reference, a row each."""

    def __init__(self, design, codes, weights, estimates, frequencies, initial):
        others, p = estimates.shape
        q = others * p
        eta = numpy.hstack([design @ estimates.T, numpy.zeros((len(codes), 1))])
        top = eta.max(axis=1, keepdims=True)
        shares = numpy.exp(eta - top)
        shares /= shares.sum(axis=1, keepdims=True)
        information = numpy.zeros((q, q))
        for i in range(others):
            for j in range(others):
                spread = weights * shares[:, i] * (float(i == j) - shares[:, j])
                information[i * p:(i + 1) * p, j * p:(j + 1) * p] = design.T @ (design * spread[:, None])
        self.lengths = numpy.sqrt(numpy.diag(information))
        whole = numpy.tile((weights[:, None] * design ** 2).sum(axis=0), others)
        self.least_information = float((numpy.diag(information) / whole).min())
        values, vectors = numpy.linalg.eigh(information / numpy.outer(self.lengths, self.lengths))
        values = numpy.maximum(values, 1e-18)
        self.kappa = 1 / math.sqrt(values[0])
        self.errors = numpy.sqrt(((vectors / numpy.sqrt(values)) ** 2).sum(axis=1)) / self.lengths
        sums = numpy.abs(design) @ numpy.abs(estimates.T)  # what a predictor is summed from
        observed = shares[numpy.arange(len(codes)), codes]
        self.g = float((self.lengths * numpy.abs(estimates.ravel())).sum())
        self.residual = math.sqrt(float((weights * (1 - observed) / numpy.maximum(observed, 1e-300)).sum()))
        self.largest_sum = float(sums.max())
        self.doubt = float((weights * (1 - observed) * sums.max(axis=1)).sum())
        self.log_likelihood = float((weights * numpy.log(numpy.maximum(observed, 1e-300))).sum())
        self.least_share = float(observed.min())
        # How far a predictor moves with a step of length 1.
        self.reach = float(numpy.sqrt(((design / self.lengths[:p]) ** 2).sum(axis=1)).max()) * self.kappa
        self.n, self.p, self.q, self.rows = float(sum(frequencies)), p, q, len(codes)
        self.weight, self.initial = float(weights.sum()), initial

    def error(self, delta, criterion=0.0):
        """`criterion`: the largest share by which the last step of Newton's iteration may have changed an
        estimate. What is left after it is half of its square, in the units of E, times the largest change
        of a predictor."""
        rest = 0.5 * (criterion * self.largest_sum) * (criterion * self.g)
        return delta * (2 * self.g + (1 + self.kappa) * self.residual) + rest

    def allowed(self, ours, delta, criterion=0.0, by_information=False):
        """`by_information`: errors come from the inverse of the information matrix, by Cholesky's method."""
        e = self.error(delta, criterion)
        spread = C * ROUNDING * math.sqrt(self.p) * self.largest_sum + self.reach * e
        relative = delta * self.kappa + spread + 4 * ROUNDING
        if by_information:
            relative += C * ROUNDING * self.q * self.kappa ** 2
        by = {"estimate": self.errors * e + 2 * ROUNDING * numpy.abs(ours.estimates),
              "std_error": self.errors * relative}
        by["statistic"] = by["estimate"] / self.errors + numpy.abs(ours.estimates) / self.errors * relative
        value = e * e + C * ROUNDING * (
            math.sqrt(self.rows) * abs(self.log_likelihood) + math.sqrt(self.p) * self.doubt)
        by["log_likelihood"] = value
        by["initial_log_likelihood"] = C * ROUNDING * math.sqrt(self.rows) * (1 + abs(self.initial))
        by["aic"] = by["bic"] = 2 * value + 8 * ROUNDING * self.q * (2 + math.log(self.n))
        both = value + by["initial_log_likelihood"]
        by["chi_square"] = 2 * both + 4 * ROUNDING * abs(self.log_likelihood)
        by["cox_snell"] = 2 * both / self.weight + 8 * ROUNDING
        if self.initial < 0:
            by["nagelkerke"] = 4 * both / self.weight / -math.expm1(2 * self.initial / self.weight) + 8 * ROUNDING
            by["mcfadden"] = 2 * both / -self.initial + 8 * ROUNDING
        return by
