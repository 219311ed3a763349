#!/usr/bin/env python3
"""Random linear models through the C interface against exact rational arithmetic.

    python3 tests/study/linear.py LIBRARY [COUNT [SEED [SCALES]]]

Each model draws factors, covariates with powers and products, columns that depend on others exactly
or nearly, both weights, and scales of columns and weights, from 10^-SCALES to 10^SCALES. Design
columns are taken as the library forms them, to 53 bits, if need be beyond the range of a double;
everything after is compared with fractions: which columns are kept (what is left of a column's
weighted sum of squares after those before it, against the tolerance), estimates, unscaled
variances, R square. Columns of which a share within a factor of 1.01 of the tolerance is
left may go either way. Prints a line for each model that differs and a summary; exits with 1 when a
kept column differs.
"""

import ctypes
import math
import pathlib
import random
import sys
from ctypes import c_double, c_int32, c_size_t
from fractions import Fraction

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "python"))
sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "reference" / "linear"))
import qvreg  # noqa: E402
from scales import rounded  # noqa: E402

TOLERANCE = 1e-12


class Model:
    """One random model: columns of records, the library's terms, both weights."""

    def __init__(self, rng, scales):
        self.n = rng.randint(6, 40)
        self.factors = []     # positions
        self.covariates = []
        self.values = [[]]    # by variable; the dependent first
        self.sizes = {}
        self.terms = []       # (factors, covariates)
        for _ in range(rng.randint(0, 2)):
            self.add_factor(rng)
        for _ in range(rng.randint(1, 4)):
            self.add_covariate(rng, scales)
        for position in self.factors:
            self.terms.append(([position], []))
        for position in self.covariates:
            self.terms.append(([], [position]))
        self.add_terms(rng)
        rng.shuffle(self.terms)
        self.intercept = rng.random() < 0.8
        self.frequency = self.weight(rng, scales, whole=True) if rng.random() < 0.4 else None
        self.regression = self.weight(rng, scales, whole=False) if rng.random() < 0.4 else None
        scale = self.scale(rng, scales)
        self.values[0] = [scale * rng.choice([rng.gauss(0, 1), rng.randint(-5, 5)])
                          for _ in range(self.n)]

    @staticmethod
    def scale(rng, scales):
        return 10.0 ** rng.uniform(-scales, scales) if scales > 0 and rng.random() < 0.5 else 1.0

    def add_factor(self, rng):
        size = rng.randint(2, 5)
        common = rng.random() < 0.5  # The last level is rare.
        self.values.append([min(size - 1, int(size * rng.random() ** (2 if common else 1)))
                            for _ in range(self.n)])
        self.factors.append(len(self.values) - 1)
        self.sizes[self.factors[-1]] = size

    def add_covariate(self, rng, scales):
        kind = rng.random()
        n, earlier = self.n, self.covariates
        if kind < 0.35 or not earlier:
            offset = rng.choice([0, 0, 1, 100, 2000])
            column = [offset + rng.choice([rng.gauss(0, 1), rng.randint(0, 9)]) for _ in range(n)]
        elif kind < 0.5:
            column = [float(rng.randint(0, 1)) for _ in range(n)]
        elif kind < 0.65:  # exactly dependent: sums of small whole numbers stay exact
            a = self.values[rng.choice(earlier)]
            column = [2.0 * x for x in a]
        elif kind < 0.75 and self.factors:  # an indicator of a level
            factor = rng.choice(self.factors)
            level = rng.randrange(self.sizes[factor])
            column = [1.0 if v == level else 0.0 for v in self.values[factor]]
        else:  # nearly dependent, by a share that may lie on either side of the tolerance
            a = self.values[rng.choice(earlier)]
            own = 10.0 ** rng.uniform(-8, -1) * (max(map(abs, a)) or 1.0)
            column = [x + own * rng.gauss(0, 1) for x in a]
        scale = self.scale(rng, scales)
        scaled = [scale * x for x in column]
        # A column that depends on one of extreme size may leave the range itself.
        self.values.append(scaled if all(map(math.isfinite, scaled)) else column)
        self.covariates.append(len(self.values) - 1)

    def add_terms(self, rng):
        if rng.random() < 0.4:
            a = rng.choice(self.covariates)
            self.terms.append(([], [a, rng.choice(self.covariates)]))
        if self.factors and rng.random() < 0.4:
            self.terms.append(([rng.choice(self.factors)], [rng.choice(self.covariates)]))
        if len(self.factors) == 2 and rng.random() < 0.5:
            self.terms.append((list(self.factors), []))

    def weight(self, rng, scales, whole):
        scale = self.scale(rng, scales)
        kind = rng.random()
        if whole and kind < 0.6:
            column = [float(rng.randint(1, 9)) for _ in range(self.n)]
        elif kind < 0.5:
            column = [0.1] * self.n
        else:
            column = [rng.uniform(0.1, 3.0) for _ in range(self.n)]
        self.values.append([scale * x for x in column])
        return len(self.values) - 1

    def design(self):
        """The columns of the design in the library's order."""
        columns = [[1.0] * self.n] if self.intercept else []
        for factors, covariates in self.terms:
            product = [Fraction(1)] * self.n
            for position in sorted(set(covariates), key=covariates.index):
                for _ in range(covariates.count(position)):
                    product = [rounded(p * Fraction(x))
                               for p, x in zip(product, self.values[position])]
            # Parameters are ordered by the factors in the order of the settings.
            names = sorted(factors)
            cells = sorted({tuple(self.values[f][i] for f in names) for i in range(self.n)})
            for cell in cells:
                columns.append([p if tuple(self.values[f][i] for f in names) == cell else 0.0
                                for i, p in enumerate(product)])
        return columns

    def weights(self):
        one = [1.0] * self.n
        frequency = self.values[self.frequency] if self.frequency else one
        regression = self.values[self.regression] if self.regression else one
        return [Fraction(f) for f in frequency], [Fraction(r) for r in regression]


def exact_fit(model):
    """Kept columns, the smallest distance to the tolerance, estimates, variances, R square."""
    columns = [[Fraction(x) for x in column] for column in model.design()]
    y = [Fraction(v) for v in model.values[0]]
    frequency, regression = model.weights()
    w = [f * r for f, r in zip(frequency, regression)]
    system = columns + [y]
    p = len(columns)
    m = [[sum((wi * a * b for wi, a, b in zip(w, c, d) if a and b), Fraction(0)) for d in system]
         for c in system]
    original = [m[k][k] for k in range(p)]
    kept, doubtful = [], False
    tolerance = Fraction(TOLERANCE)
    for k in range(p):
        pivot = m[k][k]
        if original[k] == 0:
            continue
        share = pivot / original[k]
        doubtful = doubtful or tolerance / Fraction(101, 100) < share < tolerance * Fraction(101, 100)
        if share <= tolerance:
            continue
        kept.append(k)
        row = [v / pivot for v in m[k]]
        for i in range(p + 1):
            factor = m[i][k]
            if i == k or factor == 0:
                continue
            m[i] = [u - factor * v for u, v in zip(m[i], row)]
            m[i][k] = -factor / pivot
        row[k] = 1 / pivot
        m[k] = row
    mean = sum(wi * v for wi, v in zip(w, y)) / sum(w) if model.intercept else 0
    total = sum(wi * (v - mean) ** 2 for wi, v in zip(w, y))
    return {
        "kept": kept, "doubtful": doubtful,
        "estimates": [m[k][p] if k in kept else Fraction(0) for k in range(p)],
        "variances": [m[k][k] if k in kept else Fraction(0) for k in range(p)],
        "r_square": 1 - m[p][p] / total if total else Fraction(0),
    }


def library_fit(library, model):
    settings = library.made("settings", "settings_create", qvreg.LINEAR)
    library.call("settings_set_dependent", settings, 0)
    for position in model.factors:
        library.call("settings_add_factor", settings, position, model.sizes[position])
    for position in model.covariates:
        library.call("settings_add_covariate", settings, position)
    if model.frequency:
        library.call("settings_set_frequency_weight", settings, model.frequency)
    if model.regression:
        library.call("settings_set_regression_weight", settings, model.regression)
    factors, covariates = qvreg.int32s(model.factors), qvreg.int32s(model.covariates)
    for own_factors, own_covariates in model.terms:
        effect = library.made("effect", "effect_create", factors, c_size_t(len(factors)),
                              covariates, c_size_t(len(covariates)))
        for position in own_factors:
            library.call("effect_add_factor", effect, position, 0)
        for position in own_covariates:
            library.call("effect_add_covariate", effect, position, None)
        library.call("settings_add_effect", settings, effect)
    options = qvreg.Options()
    library.call("settings_get_options", settings, ctypes.byref(options))
    options.use_intercept = int(model.intercept)
    options.refine_estimates = 1
    options.tolerance = TOLERANCE
    library.call("settings_set_options", settings, ctypes.byref(options))

    arrays = [(c_double * model.n)(*values) for values in model.values]
    pointer = ctypes.POINTER(c_double)
    columns = (qvreg.Column * len(arrays))(
        *[qvreg.Column(ctypes.cast(array, pointer), 1) for array in arrays])
    source = library.made("source", "source_create_columns", columns, c_size_t(len(arrays)),
                          c_size_t(model.n))
    component = library.made("component", "component_create", settings)
    library.call("component_build", component, source)
    results = library.made("results", "component_get_results", component)
    redundant = library.list(c_int32, "results_get_redundant", results)
    # In the units of the estimation, where all are within range, and exactly back from there.
    exponents = library.list(c_int32, "scaled_get_exponents", results)
    own = qvreg.ScaledSummary()
    library.call("scaled_get_summary", results, ctypes.byref(own))
    estimates = library.list(c_double, "scaled_get_estimates", results)
    packed = library.list(c_double, "scaled_get_covariance_packed", results)
    two = Fraction(2)
    return {
        "kept": [k for k, r in enumerate(redundant) if not r],
        "estimates": [Fraction(b) * two ** (own.dependent_exponent - e)
                      for b, e in zip(estimates, exponents)],
        "variances": [Fraction(packed[k * (k + 3) // 2]) * two ** (-2 * e)
                      for k, e in enumerate(exponents)],
        "r_square": library.value(c_double, "results_get_fit_stat", results, qvreg.R_SQUARE),
    }


def right_digits(value, expected, scale=None):
    """The digits in which a double agrees with a fraction, relative to it or to a scale."""
    size = abs(expected) if scale is None else scale
    if isinstance(value, float) and not math.isfinite(value):
        return 0.0
    difference = abs(Fraction(value) - expected)
    if difference == 0:
        return 16.0
    if size == 0:
        return 0.0
    share = difference / size
    return min(16.0, max(0.0, -(math.log10(share.numerator) - math.log10(share.denominator))))


def main():
    library = qvreg.Library(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 3000
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    scales = float(sys.argv[4]) if len(sys.argv) > 4 else 0
    fitted = different = doubtful = 0
    worst = {"estimates": (16.0, 0), "variances": (16.0, 0), "r_square": (16.0, 0)}
    for i in range(seed, seed + count):
        model = Model(random.Random(i), scales)
        exact = exact_fit(model)
        try:
            got = library_fit(library, model)
        except qvreg.Error as error:
            print(f"model {i}: {error}")
            continue
        fitted += 1
        if exact["doubtful"]:
            doubtful += 1
            continue
        if got["kept"] != exact["kept"]:
            different += 1
            print(f"model {i}: kept {got['kept']}, exactly {exact['kept']}")
            continue
        digits = {"r_square": right_digits(got["r_square"], exact["r_square"], Fraction(1))}
        for what in ("estimates", "variances"):
            digits[what] = min((right_digits(g, e) for g, e in zip(got[what], exact[what])
                                if e != 0), default=16.0)
        for what, value in digits.items():
            worst[what] = min(worst[what], (value, i))
    print(f"{count} models, {fitted} fitted, {doubtful} with a column at the tolerance, "
          f"{different} with other columns kept")
    for what, (value, i) in worst.items():
        print(f"worst {what}: {value:.1f} right digits (model {i})")
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
