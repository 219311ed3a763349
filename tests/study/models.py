"""Random models for the studies: records, terms, their design in exact numbers, the library's fit.

Design columns are formed as the library forms them: covariates, brought to magnitudes near 1 by
powers of two, are multiplied in double. A column is kept as whole numbers and one exponent.
"""

import math
import os
import pathlib
import sys
from concurrent.futures import ProcessPoolExecutor
from ctypes import c_double, c_int32, c_size_t
from dataclasses import dataclass
from fractions import Fraction

TESTS = pathlib.Path(__file__).resolve().parent.parent
sys.path += [str(TESTS / "python"), str(TESTS / "reference")]
import qvreg  # noqa: E402
import rational  # noqa: E402

TOLERANCE = 1e-12
SCALES = 150.0  # Columns and weights from 1e-150 to 1e150.


@dataclass
class Column:
    """Values: whole numbers times 2 to the power of exponent."""

    numbers: list
    exponent: int = 0


def power_of_two(exponent):
    return Fraction(2) ** exponent


def exponent_of(values):
    return math.frexp(max(map(abs, values), default=0.0))[1]


def exact_column(values, exponent=0):
    """A column of doubles times 2 to the power of exponent."""
    least = min((math.frexp(v)[1] for v in values if v), default=0) - 53
    return Column([int(Fraction(v) / power_of_two(least)) for v in values], least + exponent)


class Model:
    """One random model: columns of records, the first one the dependent's, and the terms."""

    def __init__(self, rng, scales, n, nearest):
        """`nearest`: nearly dependent columns differ by 10 to the power of at least this."""
        self.rng = rng
        self.scales = scales
        self.nearest = nearest
        self.n = n
        self.factors = []     # positions
        self.covariates = []
        self.values = [[0.0] * n]
        self.sizes = {}
        self.terms = []
        self.frequency = self.regression = None
        for _ in range(rng.randint(0, 2)):
            self.add_factor()
        for _ in range(rng.randint(1, 4)):
            self.add_covariate()
        self.scale_covariates()
        self.terms += [qvreg.Effect([position], []) for position in self.factors]
        self.terms += [qvreg.Effect([], [position]) for position in self.covariates]
        self.add_products()
        rng.shuffle(self.terms)
        self.intercept = rng.random() < 0.8

    def scale(self):
        is_scaled = self.scales > 0 and self.rng.random() < 0.5
        return 10.0 ** self.rng.uniform(-self.scales, self.scales) if is_scaled else 1.0

    def add(self, column):
        self.values.append(column)
        return len(self.values) - 1

    def add_factor(self):
        size = self.rng.randint(2, 5)
        power = 2 if self.rng.random() < 0.5 else 1  # With 2 the last level is rare.
        position = self.add([min(size - 1, int(size * self.rng.random() ** power))
                             for _ in range(self.n)])
        self.factors.append(position)
        self.sizes[position] = size

    def add_covariate(self):
        rng, earlier = self.rng, self.covariates
        kind = rng.random()
        if kind < 0.35 or not earlier:
            offset = rng.choice([0, 0, 1, 100, 2000])
            column = [offset + rng.choice([rng.gauss(0, 1), rng.randint(0, 9)])
                      for _ in range(self.n)]
        elif kind < 0.5:
            column = [float(rng.randint(0, 1)) for _ in range(self.n)]
        elif kind < 0.6:
            column = list(self.values[rng.choice(earlier)])
        elif kind < 0.7:  # A sum, which depends on the two if it is exact.
            a, b = self.values[rng.choice(earlier)], self.values[rng.choice(earlier)]
            column = [x + y for x, y in zip(a, b)]
        elif kind < 0.8 and self.factors:  # an indicator of a level
            factor = rng.choice(self.factors)
            level = rng.randrange(self.sizes[factor])
            column = [1.0 if v == level else 0.0 for v in self.values[factor]]
        else:  # nearly dependent, by a share that may lie on either side of the tolerance
            a = self.values[rng.choice(earlier)]
            own = 10.0 ** rng.uniform(self.nearest, -1) * (max(map(abs, a)) or 1.0)
            column = [x + own * rng.gauss(0, 1) for x in a]
        self.covariates.append(self.add(column))

    def scale_covariates(self):
        for position in self.covariates:
            scale = self.scale()
            self.values[position] = [scale * x for x in self.values[position]]

    def add_products(self):
        rng = self.rng
        if rng.random() < 0.4:
            power = rng.choice([2, 2, 3])
            self.terms.append(qvreg.Effect([], rng.choices(self.covariates, k=power)))
        if self.factors and rng.random() < 0.4:
            self.terms.append(qvreg.Effect([rng.choice(self.factors)],
                                   rng.choices(self.covariates, k=rng.randint(1, 2))))
        if len(self.factors) == 2 and rng.random() < 0.5:
            self.terms.append(qvreg.Effect(rng.sample(self.factors, 2), [], rng.random() < 0.5))

    def add_weights(self):
        """Frequency and regression weights: none, either or both, with a 0 now and then."""
        if self.rng.random() < 0.4:
            self.frequency = self.add(self.weights(is_whole=self.rng.random() < 0.6))
        if self.rng.random() < 0.4:
            self.regression = self.add(self.weights(is_whole=False))

    def weights(self, is_whole):
        rng, scale = self.rng, self.scale()
        if is_whole:
            column = [float(rng.randint(1, 9)) for _ in range(self.n)]
        elif rng.random() < 0.5:
            column = [0.1] * self.n
        else:
            column = [rng.uniform(0.1, 3.0) for _ in range(self.n)]
        zeros = rng.choice([0.0, 0.0, 0.05])
        return [0.0 if rng.random() < zeros else scale * x for x in column]

    def roles(self, kind):
        return qvreg.Model(kind, 0, {position: self.sizes[position] for position in self.factors},
                           self.covariates, self.terms, self.frequency, self.regression)

    def weight_columns(self):
        return [self.values[p] for p in (self.frequency, self.regression) if p is not None]

    def used(self):
        """The records with weights above 0."""
        return [i for i in range(self.n) if all(w[i] > 0 for w in self.weight_columns())]

    def frequencies(self):
        values = self.values[self.frequency] if self.frequency is not None else [1.0] * self.n
        return [Fraction(values[i]) for i in self.used()]

    def record_weights(self):
        weights = [Fraction(1)] * len(self.used())
        for column in self.weight_columns():
            weights = [w * Fraction(column[i]) for w, i in zip(weights, self.used())]
        return weights

    def product(self, term, used):
        """The product of a term's covariates: doubles and an exponent."""
        exponent, product = 0, [1.0] * len(used)
        for position in sorted(term.covariates):
            values = [self.values[position][i] for i in used]
            own = exponent_of(values)
            product = [p * math.ldexp(x, -own) for p, x in zip(product, values)]
            exponent += own
        return product, exponent

    def design(self):
        """The columns over the records used, in the library's order."""
        used = self.used()
        columns = [Column([1] * len(used))] if self.intercept else []
        for term in self.terms:
            product, exponent = self.product(term, used)
            # Combinations are ordered by the factors in the order of the settings.
            cells = [tuple(self.values[f][i] for f in sorted(term.factors)) for i in used]
            for cell in sorted(set(cells)):
                columns.append(exact_column(
                    [p if own == cell else 0.0 for own, p in zip(cells, product)], exponent))
        return columns


def is_doubtful(shares):
    """Whether some column is at the tolerance, so that it may be kept or dropped."""
    tolerance, margin = Fraction(TOLERANCE), Fraction(101, 100)
    return any(tolerance / margin < share < tolerance * margin for share in shares)


class Fit:
    """The library's fit of a model."""

    def __init__(self, library, model, kind, options, logistic=None):
        """`options`, `logistic`: choices that differ from the defaults."""
        self.library = library
        settings = qvreg.make_settings(library, model.roles(kind))
        qvreg.change(library, settings, "options", qvreg.Options(), options)
        if logistic is not None:
            qvreg.change(library, settings, "logistic_options", qvreg.LogisticOptions(), logistic)
        columns = qvreg.Columns(model.values)
        component = library.made("component", "component_create", settings)
        library.call("component_build", component, columns.source(library))
        self.results = library.made("results", "component_get_results", component)
        redundant = library.list(c_int32, "results_get_redundant", self.results)
        self.kept = [k for k, r in enumerate(redundant) if not r]
        self.estimates = library.list(c_double, "results_get_estimates", self.results)

    def covariance(self, i, j):
        return self.library.value(c_double, "results_get_covariance", self.results, c_size_t(i),
                                  c_size_t(j))

    def statistic(self, stat):
        return self.library.value(c_double, "results_get_fit_stat", self.results, stat)


def is_representable(value):
    """Whether a double can hold a number with all its digits."""
    return value == 0 or power_of_two(-1022) <= abs(value) < power_of_two(1024)


def right_digits(value, expected, size=None):
    """The digits in which a double agrees with a number, relative to it or to a size."""
    if not math.isfinite(value):
        return 0.0
    expected = Fraction(expected)
    size = abs(expected) if size is None else Fraction(size)
    difference = abs(Fraction(value) - expected)
    if difference == 0:
        return 16.0
    if size == 0:
        return 0.0
    share = difference / size
    return min(16.0, max(0.0, math.log10(share.denominator) - math.log10(share.numerator)))


class Worst:
    """The fewest right digits of each quantity, and the model that had them."""

    def __init__(self):
        self.digits = {}

    def add(self, model, digits):
        for what, value in digits.items():
            self.digits[what] = min(self.digits.get(what, (16.0, model)), (value, model))

    def show(self):
        for what, (digits, model) in self.digits.items():
            print(f"worst {what}: {digits:.1f} right digits (model {model})")


def arguments(count):
    """LIBRARY [COUNT [SEED [SCALES]]] of the command line."""
    given = sys.argv[1:]
    numbers = given[1:] + [count, 1, SCALES][len(given) - 1:]
    return given[0], int(numbers[0]), int(numbers[1]), float(numbers[2])


def run(examine, library, count, seed, scales):
    """What `examine` makes of each model, its library, number and scales given, one after the
    other; on all processors."""
    with ProcessPoolExecutor(os.cpu_count()) as pool:
        numbers = range(seed, seed + count)
        yield from pool.map(examine, [library] * count, numbers, [scales] * count, chunksize=4)
