#!/usr/bin/env python3
"""Random multinomial logistic models through the C interface against arithmetic of 60 digits.

    python3 tests/study/logistic.py LIBRARY [COUNT [SEED [SCALES]]]

Models are drawn as in linear.py, with 2 to 5 categories of the dependent, any of which may be the
reference, and with or without the covariate pattern tabulator. Which columns are kept is computed
with fractions, as there. On these, Newton's iteration in 60 digits goes on from the library's
estimates to its fixed point: there is a maximum then, and what the library tells is compared with
it: the estimates in the standard errors that they would have with weights of mean 1, the
covariances in those of their two, log-likelihoods and pseudo R squares, the classification table
unless two categories are predicted alike. Models whose information matrix is nearly singular are
told apart, as it has few right digits in double. Where the iteration reaches no fixed point its
last step is taken for the direction in which the likelihood rises for ever; that it is one is then
shown with fractions: no record's observed category gains less than another, some gain more. Those
models are counted apart, with the outcomes of the library.

Prints a line for each model that differs and a summary; exits with 1 when a kept column differs or
a model that has a maximum was not fitted, or one that has none was called converged.
"""

import random
import sys
from collections import Counter
from ctypes import c_double, c_size_t
from decimal import Decimal
from fractions import Fraction

import models
import qvreg
import rational

sys.path.append(str(models.TESTS / "reference" / "logistic"))
import newton  # noqa: E402

OUTCOMES = {1: "log-likelihood converged", 2: "estimates converged", 3: "both converged",
            4: "singular", 5: "step-halving failed", 6: "too many iterations",
            7: "completely separated", 8: "quasi-completely separated", 9: "nothing to iterate"}
CONVERGED = (1, 2, 3, 9)
MOST_PARAMETERS = 60  # What 60 digits take a second for.
ALIKE = Decimal("1e-9")
NO_CHANGE = Decimal("1e-6")
MOST_ITERATIONS = 40
NEARLY_SINGULAR = Decimal("1e-6")  # Less of some parameter's information is left beside the others.


class LogisticModel(models.Model):
    """Half of the models have records of all categories for each combination of covariates and
    factors, and so a maximum, the others a category a record."""

    def __init__(self, rng, scales):
        is_grouped = rng.random() < 0.5
        super().__init__(rng, scales, rng.randint(8, 25) if is_grouped else rng.randint(50, 150),
                         -4)
        self.categories = rng.randint(2, 5)
        columns = len(self.design())
        while self.categories > 2 and (self.categories - 1) * columns > MOST_PARAMETERS:
            self.categories -= 1
        if is_grouped:
            self.repeat()
        else:
            leaning = [rng.uniform(0.5, 2.0) for _ in range(self.categories)]
            self.values[0] = rng.choices(range(self.categories), leaning, k=self.n)
        self.add_weights()
        self.reference = rng.choice([qvreg.LAST_OBSERVED, qvreg.FIRST_OBSERVED,
                                     rng.randrange(self.categories)])
        self.has_tabulator = rng.random() < 0.3

    def repeat(self):
        """Each record for every category, some twice."""
        times = [(i, j) for i in range(self.n) for j in range(self.categories)
                 for _ in range(self.rng.choice([1, 1, 2]))]
        self.values = [[column[i] for i, _ in times] for column in self.values]
        self.values[0] = [j for _, j in times]
        self.n = len(times)

    def observed(self):
        """The categories of the records used, the reference last."""
        codes = sorted({self.values[0][i] for i in self.used()})
        first, last = codes[0], codes[-1]
        reference = {qvreg.FIRST_OBSERVED: first}.get(self.reference, self.reference)
        reference = reference if reference in codes else last
        return [code for code in codes if code != reference] + [reference]


def to_decimal(value):
    return Decimal(value.numerator) / Decimal(value.denominator)


class Problem:
    """A model's design in exact numbers, its kept columns, categories and weights."""

    def __init__(self, model):
        columns = model.design()
        self.width = len(columns)
        self.weights = model.record_weights()
        matrix = rational.cross_products([c.numbers for c in columns], self.weights)
        self.kept, shares = rational.sweep(matrix, self.width, Fraction(models.TOLERANCE))
        self.is_doubtful = models.is_doubtful(shares)
        observed = model.observed()
        self.codes = [observed.index(model.values[0][i]) for i in model.used()]
        self.others = len(observed) - 1
        self.frequencies = model.frequencies()
        self.has_intercept = model.intercept
        # Kept columns are measured in a power of two near their largest value.
        self.units = [c.exponent + max(n.bit_length() for n in c.numbers)
                      for c in (columns[k] for k in self.kept)]
        self.rows = [tuple((p, Fraction(columns[k].numbers[i])
                            * models.power_of_two(columns[k].exponent - unit))
                           for p, (k, unit) in enumerate(zip(self.kept, self.units))
                           if columns[k].numbers[i])
                     for i in range(len(self.codes))]

    def likelihood(self):
        weights = [to_decimal(w) for w in self.weights]
        self.design = [tuple((p, to_decimal(x)) for p, x in row) for row in self.rows]
        return newton.Likelihood(zip(self.design, self.codes, weights), self.others + 1,
                                 len(self.kept))

    def starting_values(self):
        sums = newton.category_sums([to_decimal(w) for w in self.weights], self.codes,
                                    self.others + 1)
        start = newton.starting_values(sums, len(self.kept), self.has_intercept)
        return [v * Decimal(2) ** unit for v, (_, unit) in zip(start, self.places())]

    def places(self):
        """Of each parameter that is estimated: its number in the library, and its unit."""
        return [(j * self.width + k, unit)
                for j in range(self.others) for k, unit in zip(self.kept, self.units)]

    def contrasts(self):
        """Per record and category but the observed one: what the observed one gains over it along
        a direction, as coefficients of that."""
        found = set()
        for row, code in zip(self.rows, self.codes):
            for other in range(self.others + 1):
                if other != code:
                    signed = [(j * len(self.kept) + p, x if j == code else -x)
                              for j in (code, other) if j < self.others for p, x in row]
                    found.add(tuple(sorted(signed)))
        return found


def is_recession(problem, direction):
    """Whether a direction close to this one exists along which no record loses and some gain."""
    gains = {c: sum(direction[p] * to_decimal(x) for p, x in c) for c in problem.contrasts()}
    largest = max(map(abs, gains.values()), default=newton.ZERO)
    even = [c for c, gain in gains.items() if abs(gain) <= NO_CHANGE * largest]
    exact = [Fraction(v) for v in direction]
    move_into(exact, even)
    exact_gains = [sum(exact[p] * x for p, x in c) for c, gain in gains.items()
                   if abs(gain) > NO_CHANGE * largest]
    return bool(exact_gains) and min(exact_gains) > 0


def move_into(direction, equations):
    """Changes a direction so that the equations, which it nearly satisfies, hold exactly."""
    solved = []  # (variable, coefficients of the others)
    for equation in equations:
        row = dict(equation)
        for variable, others in solved:
            factor = row.pop(variable, 0)
            for p, x in others.items() if factor else ():
                row[p] = row.get(p, 0) - factor * x
        row = {p: x for p, x in row.items() if x}
        if row:
            variable = max(row, key=lambda p: abs(row[p]))
            pivot = row.pop(variable)
            solved.append((variable, {p: x / pivot for p, x in row.items()}))
    for variable, others in reversed(solved):
        direction[variable] = -sum(direction[p] * x for p, x in others.items())


class Logistic(models.Fit):
    def __init__(self, library, model):
        super().__init__(library, model, qvreg.LOGISTIC,
                         {"use_intercept": int(model.intercept), "tolerance": models.TOLERANCE},
                         {"n_categories": model.categories, "reference_category": model.reference,
                          "param_criterion": 1e-8, "max_step_halvings": 10,
                          "use_pattern_tabulator": int(model.has_tabulator)})
        self.summary = library.value(qvreg.LogisticSummary, "logistic_get_summary", self.results)

    def classification(self, size):
        table = (c_double * (size * size))()
        self.library.call("logistic_get_classification", self.results, table, c_size_t(size),
                          c_size_t(size * size), None)
        return [list(table[j * size:(j + 1) * size]) for j in range(size)]


def continue_from(problem, likelihood, fit):
    """The maximum, reached from the library's estimates; or None, and whether it is certain that
    there is none."""
    scaled = [Decimal(fit.estimates[place]) * Decimal(2) ** unit
              for place, unit in problem.places()]
    if not all(v.is_finite() for v in scaled):
        scaled = problem.starting_values()
    try:
        return newton.maximise(likelihood, scaled, MOST_ITERATIONS), True
    except newton.NoMaximum as end:
        return None, is_recession(problem, end.step)
    except ArithmeticError:
        return None, False


def is_classified_alike(problem, likelihood, exact, fit):
    """Whether the classification table agrees; None where categories are predicted alike."""
    size = problem.others + 1
    table = newton.classification(likelihood, exact.estimates,
                                  zip(problem.design, problem.codes, problem.frequencies),
                                  [newton.ZERO] * size, ALIKE, Fraction(0))
    if table is None:
        return None
    got = fit.classification(size)
    return all(models.right_digits(g, e) > 14 for a, b in zip(got, table) for g, e in zip(a, b))


def compare(problem, likelihood, exact, fit):
    """Right digits of each quantity."""
    places = problem.places()
    deviations = [v.sqrt() for v in exact.variances]
    a_record = to_decimal(sum(problem.weights) / len(problem.weights)).sqrt()
    digits = {"estimates": 16.0, "covariances": 16.0}

    def note(what, value, expected, size):
        if models.is_representable(expected) and models.is_representable(size):
            digits[what] = min(digits[what], models.right_digits(value, expected, size))

    exact_units = [models.power_of_two(unit) for _, unit in places]
    for i, (place, _) in enumerate(places):
        note("estimates", fit.estimates[place], Fraction(exact.estimates[i]) / exact_units[i],
             Fraction(deviations[i] * a_record) / exact_units[i])
        for j in range(i + 1):
            unit = exact_units[i] * exact_units[j]
            note("covariances", fit.covariance(place, places[j][0]),
                 Fraction(exact.covariance[i][j]) / unit,
                 Fraction(deviations[i] * deviations[j]) / unit)
    initial = likelihood.value(problem.starting_values())
    digits["log-likelihood"] = models.right_digits(fit.summary.final_log_likelihood, exact.loglik)
    digits["initial log-likelihood"] = models.right_digits(fit.summary.initial_log_likelihood,
                                                           initial)
    squares = newton.pseudo_r_squares(initial, exact.loglik, to_decimal(sum(problem.weights)))
    for name, stat, square in zip(("Cox and Snell", "Nagelkerke", "McFadden"),
                                  (qvreg.COX_SNELL, qvreg.NAGELKERKE, qvreg.MCFADDEN), squares):
        digits[name] = models.right_digits(fit.statistic(stat), square, 1)
    return digits


def examine(path, number, scales):
    """What became of a model, what there is to say, right digits."""
    model = LogisticModel(random.Random(number), scales)
    if len(model.observed()) < 2:
        return "without two categories", "", {}
    problem = Problem(model)
    if problem.is_doubtful:
        return "doubtful", "", {}
    try:
        fit = Logistic(qvreg.Library(path), model)
    except qvreg.Error as error:
        return "failed", str(error), {}
    kept = [j * problem.width + k for j in range(problem.others) for k in problem.kept]
    if fit.kept != kept:
        return "different", f"kept {fit.kept}, exactly {kept}", {}
    outcome = OUTCOMES[fit.summary.outcome]
    likelihood = problem.likelihood()
    exact, is_certain = continue_from(problem, likelihood, fit)
    is_converged = fit.summary.outcome in CONVERGED
    if not is_certain:
        return f"undecided: {outcome}", f"undecided: {outcome}", {}
    if exact is None:
        text = f"{outcome}, without a maximum" if is_converged else ""
        return f"separated: {outcome}", text, {}
    if not is_converged:
        return f"regular: {outcome}", (f"{outcome} at {fit.summary.iterations} iterations, least "
                                       f"share of information {min(exact.shares):.0e}"), {}
    alike = is_classified_alike(problem, likelihood, exact, fit)
    found = {None: "compared, predictions alike", True: "compared", False: "misclassified"}[alike]
    digits = compare(problem, likelihood, exact, fit)
    if min(exact.shares, default=newton.ONE) < NEARLY_SINGULAR:
        digits = {f"{what}, nearly singular": value for what, value in digits.items()}
    return found, "" if alike in (None, True) else found, digits


def main():
    library, count, seed, scales = models.arguments(1500)
    found, worst, n_faults = Counter(), models.Worst(), 0
    for number, (what, text, digits) in enumerate(
            models.run(examine, library, count, seed, scales), seed):
        found[what] += 1
        worst.add(number, digits)
        if text:
            n_faults += 1
            print(f"model {number}: {text}", flush=True)
    print(f"{count} models")
    for what, times in sorted(found.items()):
        print(f"{times:6} {what}")
    worst.show()
    return 1 if n_faults else 0


if __name__ == "__main__":
    sys.exit(main())
