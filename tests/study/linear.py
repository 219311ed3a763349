#!/usr/bin/env python3
"""Random linear models through the C interface against exact rational arithmetic.

    python3 tests/study/linear.py LIBRARY [COUNT [SEED [SCALES]]]

Each model draws factors, crossed or nested, covariates with powers and products, columns that
depend on others exactly or nearly, both weights, some of them 0, and scales of columns and weights
from 10 to the power of -SCALES to SCALES (150; 0 for none). Design columns are taken as the library
forms them, in double; everything after is compared with fractions: which columns are kept (what is
left of a column's weighted sum of squares after those before it, against the tolerance), estimates,
unscaled variances, R square. Columns of which a share within a factor of 1.01 of the tolerance is
left may go either way; numbers that no double holds are not compared. Prints a line for each model
that differs and a summary; exits with 1 when a kept column differs or a model was not fitted.
"""

import random
import sys
from collections import Counter
from fractions import Fraction

import models
import qvreg
import rational


class LinearModel(models.Model):
    def __init__(self, rng, scales):
        super().__init__(rng, scales, rng.randint(6, 40), -8)
        self.add_weights()
        scale = self.scale()
        self.values[0] = [scale * rng.choice([rng.gauss(0, 1), rng.randint(-5, 5)])
                          for _ in range(self.n)]


def exact_fit(model):
    """The fit in the units of the records, and whether a column is doubtful."""
    columns = model.design()
    y = models.exact_column([model.values[0][i] for i in model.used()])
    fit = rational.least_squares([c.numbers for c in columns], y.numbers, model.intercept,
                                 model.record_weights(), Fraction(models.TOLERANCE))
    unit = [models.power_of_two(c.exponent) for c in columns]
    y_unit = models.power_of_two(y.exponent)
    fit.estimates = [v * y_unit / u for v, u in zip(fit.estimates, unit)]
    fit.variances = [v / u ** 2 for v, u in zip(fit.variances, unit)]
    return fit, models.is_doubtful(fit.shares)


def compare(exact, fit):
    digits = {"r_square": models.right_digits(fit.statistic(qvreg.R_SQUARE), exact.r_square, 1)}
    variances = [fit.covariance(k, k) for k in range(len(fit.estimates))]
    for what, got in (("estimates", fit.estimates), ("variances", variances)):
        digits[what] = min((models.right_digits(g, e) for g, e in zip(got, getattr(exact, what))
                            if e != 0 and models.is_representable(e)), default=16.0)
    return digits


def examine(path, number, scales):
    """What became of a model, what there is to say, right digits."""
    model = LinearModel(random.Random(number), scales)
    exact, is_doubtful = exact_fit(model)
    try:
        fit = models.Fit(qvreg.Library(path), model, qvreg.LINEAR, {
            "use_intercept": int(model.intercept), "refine_estimates": 1,
            "tolerance": models.TOLERANCE})
    except qvreg.Error as error:
        return "failed", str(error), {}
    if is_doubtful:
        return "doubtful", "", {}
    if fit.kept != exact.kept:
        return "different", f"kept {fit.kept}, exactly {exact.kept}", {}
    return "compared", "", compare(exact, fit)


def main():
    library, count, seed, scales = models.arguments(3000)
    found, worst = Counter(), models.Worst()
    for number, (what, text, digits) in enumerate(
            models.run(examine, library, count, seed, scales), seed):
        found[what] += 1
        worst.add(number, digits)
        if text:
            print(f"model {number}: {text}", flush=True)
    print(f"{count} models, {found['failed']} not fitted, {found['doubtful']} with a column at the "
          f"tolerance, {found['different']} with other columns kept")
    worst.show()
    return 1 if found["different"] or found["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
