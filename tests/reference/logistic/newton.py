"""The multinomial logit in 60 decimal digits: Newton's iteration, taken to a zero step, and what
follows from its maximum."""

from collections import defaultdict
from dataclasses import dataclass
from decimal import Decimal, getcontext

DIGITS = 60
ZERO_STEP = Decimal(10) ** -45  # relative to the largest estimate: all that 60 digits can tell
ZERO, ONE = Decimal(0), Decimal(1)
getcontext().prec = DIGITS


@dataclass
class Fit:
    """In blocks of one non-reference category each, kept columns only."""

    estimates: list
    covariance: list  # rows of the lower triangle
    shares: list      # of each parameter's information, what is left beside all others
    loglik_initial: Decimal
    loglik: Decimal
    iterations: int

    @property
    def variances(self):
        return [row[-1] for row in self.covariance]


class NoMaximum(ArithmeticError):
    """Where the iterations stood, and the step that they would have gone on with."""

    def __init__(self, estimates, step):
        super().__init__("no maximum: the categories are separated")
        self.estimates = estimates
        self.step = step


class Likelihood:
    """The log-likelihood of K categories, the last one the reference. `rows` are (design row,
    category, weight), a design row being (column, value) pairs."""

    def __init__(self, rows, categories, columns):
        self.others = categories - 1
        self.columns = columns
        self.weights = defaultdict(lambda: [ZERO] * categories)
        for design, category, weight in rows:
            self.weights[design][category] += weight

    def predictors(self, beta, design):
        return [sum((beta[j * self.columns + k] * x for k, x in design), ZERO)
                for j in range(self.others)] + [ZERO]

    def value(self, beta):
        total = ZERO
        for design, weights in self.weights.items():
            eta = self.predictors(beta, design)
            top = max(eta)
            log_sum = sum((e - top).exp() for e in eta).ln()
            total += sum(w * (e - top - log_sum) for w, e in zip(weights, eta) if w)
        return total

    def derivatives(self, beta):
        """The gradient and the lower triangle of the information matrix."""
        size = self.others * self.columns
        gradient = [ZERO] * size
        information = [[ZERO] * (i + 1) for i in range(size)]
        for design, weights in self.weights.items():
            eta = self.predictors(beta, design)
            top = max(eta)
            parts = [(e - top).exp() for e in eta]
            whole, weight = sum(parts), sum(weights)
            shares = [part / whole for part in parts]
            for j in range(self.others):
                rest = weights[j] - weight * shares[j]
                for k, x in design:
                    gradient[j * self.columns + k] += rest * x
                for i in range(j + 1):
                    spread = weight * shares[j] * ((ONE if i == j else ZERO) - shares[i])
                    self._add(information, j * self.columns, i * self.columns, design, spread)
        return gradient, information

    @staticmethod
    def _add(information, row, column, design, spread):
        for k, x in design:
            target, scaled = information[row + k], spread * x
            for m, y in design:
                if column + m <= row + k:
                    target[column + m] += scaled * y


def cholesky(a):
    """The lower factor of a positive definite matrix."""
    factor = []
    for i, source in enumerate(a):
        row = []
        for j in range(i + 1):
            rest = source[j] - sum((x * y for x, y in zip(row, factor[j] if j < i else row)), ZERO)
            if j == i and rest <= 0:
                raise ArithmeticError(f"not positive definite at column {i}")
            row.append(rest.sqrt() if j == i else rest / factor[j][j])
        factor.append(row)
    return factor


def forward(factor, right):
    solved = []
    for i, row in enumerate(factor):
        solved.append((right[i] - sum((x * y for x, y in zip(row, solved)), ZERO)) / row[i])
    return solved


def solve(factor, right):
    solved = forward(factor, right)
    for i in reversed(range(len(factor))):
        solved[i] /= factor[i][i]
        for j in range(i):
            solved[j] -= factor[i][j] * solved[i]
    return solved


def inverse(factor):
    """The lower triangle of the inverse of the factored matrix."""
    size = len(factor)
    columns = [forward(factor, [ONE if i == k else ZERO for i in range(size)])
               for k in range(size)]
    return [[sum((x * y for x, y in zip(columns[i][i:], columns[j][i:])), ZERO)
             for j in range(i + 1)] for i in range(size)]


def maximise(likelihood, start, most_iterations=60):
    beta = list(start)
    value = initial = likelihood.value(beta)
    for iteration in range(1, most_iterations):
        gradient, information = likelihood.derivatives(beta)
        factor = cholesky(information)
        step = solve(factor, gradient)
        if max(map(abs, step)) <= ZERO_STEP * max(ONE, *map(abs, beta)):
            covariance = inverse(factor)
            shares = [1 / (c[-1] * i[-1]) for c, i in zip(covariance, information)]
            return Fit(beta, covariance, shares, initial, value, iteration)
        trial = [b + s for b, s in zip(beta, step)]
        while likelihood.value(trial) < value - abs(value) * ZERO_STEP:
            step = [s / 2 for s in step]
            trial = [b + s for b, s in zip(beta, step)]
        beta, value = trial, likelihood.value(trial)
    raise NoMaximum(beta, step)


def category_sums(values, codes, categories):
    return [sum((value for value, code in zip(values, codes) if code == j), ZERO)
            for j in range(categories)]


def starting_values(weights, columns, intercept):
    """The logs of the ratios of the categories' weights for the intercepts, 0 for the rest."""
    start = [ZERO] * ((len(weights) - 1) * columns)
    if intercept:
        for j, weight in enumerate(weights[:-1]):
            start[j * columns] = (weight / weights[-1]).ln()
    return start


def pseudo_r_squares(initial, final, total):
    """Cox and Snell's, Nagelkerke's and McFadden's; `total` is the sum of the weights."""
    if initial == final:
        return [ZERO] * 3
    cox_snell = 1 - (2 * (initial - final) / total).exp()
    return [cox_snell, cox_snell / (1 - (2 * initial / total).exp()), 1 - final / initial]


def classification(likelihood, beta, rows, sums, close, zero=ZERO):
    """Rows observed, columns predicted, sums of the frequencies; None where two categories are
    predicted so nearly alike that rounding could decide. A record whose design values are all 0 is
    predicted by no parameter and goes to the category with the largest of `sums`."""
    table = [[zero] * len(sums) for _ in sums]
    for row, category, frequency in rows:
        choice = likelihood.predictors(beta, row) if row else sums
        ranked = sorted(choice)
        if ranked[-1] - ranked[-2] < close:
            return None
        table[category][choice.index(ranked[-1])] += frequency
    return table
