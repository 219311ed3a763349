"""The same fits in fractions, and in 60 digits of logistic ones."""

import math
import sys
from decimal import Decimal
from fractions import Fraction
from pathlib import Path

from scipy import stats

REFERENCE = Path(__file__).resolve().parent.parent / "reference"
sys.path += [str(REFERENCE), str(REFERENCE / "logistic")]
import newton  # noqa: E402
import rational  # noqa: E402

LINEAR_TOLERANCE = Fraction(1, 10 ** 14)
LOGISTIC_TOLERANCE = Fraction(1, 10 ** 12)


def whole(values):
    """Fractions of doubles as whole numbers, and the unit to multiply them by."""
    denominator = max((v.denominator for v in values), default=1)
    return [v.numerator * (denominator // v.denominator) for v in values], Fraction(1, denominator)


def exact_columns(table, fit, columns):
    return [whole([column.value(table, i, Fraction) for i in fit.rows]) for column in columns]


def exact_weights(table, fit):
    return [Fraction(f) * Fraction(r)
            for f, r in zip(table.frequencies(fit.rows), table.precisions(fit.rows))]


def p_and_slope(distribution, statistic, sides):
    """The upper tail, in double, and by what share it changes with the statistic."""
    p = float(distribution.sf(statistic))
    slope = math.exp(float(distribution.logpdf(statistic)) - math.log(p)) if p else 0.0
    return sides * p, slope


class Linear:
    """Numbers by the names that are compared, and parameters by their position among the kept ones."""

    def __init__(self, table, fit):
        columns = exact_columns(table, fit, fit.columns)
        y, y_unit = whole([Fraction(table.dependent.values[i]) for i in fit.rows])
        weights, w_unit = whole(exact_weights(table, fit))
        solved = rational.least_squares([c for c, _ in columns], y, table.intercept, weights, LINEAR_TOLERANCE)
        self.kept, self.shares = solved.kept, solved.shares
        n, p = Fraction(fit.n), len(self.kept)
        df = n - p
        sse, sst = (v * y_unit ** 2 * w_unit for v in (solved.residual, solved.total))
        self.sse = sse
        self.parameters = []
        for k in self.kept:
            unit = columns[k][1]
            estimate = float(solved.estimates[k] * y_unit / unit)
            error = math.nan
            if df > 0:
                error = rational.square_root(solved.variances[k] / (w_unit * unit ** 2) * sse / df)
            t = estimate / error if error else math.nan
            self.parameters.append((estimate, error, t, *p_and_slope(stats.t(max(1, float(df))), abs(t), 2)))
        self.numbers = {"used": len(fit.rows), "degrees_of_freedom": float(df), "rank": p}
        self.slopes = {}  # p values with the share by which they change with their statistic
        i = int(table.intercept)
        if sst:
            self.numbers["r_square"] = float(1 - sse / sst)
        if df > 0:
            self.numbers["residual_std_error"] = rational.square_root(sse / df)
            if sst:
                self.numbers["adjusted_r_square"] = float(1 - sse / sst * (n - i) / df)
            if p > i and sse:
                f = float((sst - sse) / (p - i) / (sse / df))
                self.numbers |= {"f_statistic": f, "f_df": p - i}
                self.slopes["f_p_value"] = p_and_slope(stats.f(p - i, float(df)), f, 1)
        if sse:
            self._add_likelihood(table, fit, sse, n, p)

    def _add_likelihood(self, table, fit, sse, n, p):
        logs = sum((Decimal(f) * Decimal(r).ln()
                    for f, r in zip(table.frequencies(fit.rows), table.precisions(fit.rows))), Decimal(0))
        share = Decimal(sse.numerator) / Decimal(sse.denominator) * 2 * PI / to_decimal(n)
        value = (logs - to_decimal(n) * (share.ln() + 1)) / 2
        self.numbers["log_likelihood"] = float(value)
        self.numbers["aic"] = float(-2 * value + 2 * (p + 1))
        self.numbers["bic"] = float(-2 * value + to_decimal(n).ln() * (p + 1))


PI = Decimal("3.14159265358979323846264338327950288419716939937510582097494459")


def to_decimal(value):
    return Decimal(value.numerator) / Decimal(value.denominator)


def chi_square(gain, parameters, intercepts):
    """The likelihood-ratio test against the starting values."""
    return {"chi_square": 2 * gain, "chi_square_df": parameters - intercepts}


def p_of_chi_square(numbers):
    if numbers["chi_square_df"] < 1 or numbers["chi_square"] <= 0:
        return {}
    return {"chi_square_p": p_and_slope(stats.chi2(numbers["chi_square_df"]), numbers["chi_square"], 1)}


class Logistic:
    """As Linear. Raises newton.NoMaximum where there is none."""

    def __init__(self, table, fit, codes):
        """`codes`: categories of the rows, the reference last."""
        columns = exact_columns(table, fit, fit.columns)
        weights = exact_weights(table, fit)
        matrix = rational.cross_products([c for c, _ in columns], whole(weights)[0])
        self.kept, self.shares = rational.sweep(matrix, len(columns), LOGISTIC_TOLERANCE)
        if self.kept != fit.kept:
            return
        scaled = []  # near 1, by powers of two
        for k in self.kept:
            numbers, unit = columns[k]
            own = Fraction(2) ** max(n.bit_length() for n in numbers)
            scaled.append(([to_decimal(n / own) for n in map(Fraction, numbers)], own * unit))
        rows = [tuple((k, column[i]) for k, (column, _) in enumerate(scaled) if column[i])
                for i in range(len(fit.rows))]
        p, others = len(self.kept), len(fit.blocks)
        decimals = [to_decimal(w) for w in weights]
        likelihood = newton.Likelihood(zip(rows, codes, decimals), others + 1, p)
        units = [to_decimal(unit) for _ in range(others) for _, unit in scaled]
        start = [Decimal(float(b)) * unit for b, unit in zip(fit.estimates, units)]
        found = newton.maximise(likelihood, start)
        self.parameters = []
        for value, variance, unit in zip(found.estimates, found.variances, units):
            error = variance.sqrt()
            z = float(value / error)
            self.parameters.append((float(value / unit), float(error / unit), z, *p_and_slope(stats.norm, abs(z), 2)))
        total = sum(decimals)
        sums = newton.category_sums(decimals, codes, others + 1)
        initial = (sum(s * (s / total).ln() for s in sums) if table.intercept
                   else -total * Decimal(others + 1).ln())
        n, q = Fraction(fit.n), others * p
        value = found.loglik
        self.numbers = {"used": len(fit.rows), "degrees_of_freedom": float(n - q), "rank": p,
                        "log_likelihood": float(value), "initial_log_likelihood": float(initial),
                        "aic": float(-2 * value + 2 * q), "bic": float(-2 * value + to_decimal(n).ln() * q)}
        self.numbers |= chi_square(float(value - initial), q, others * int(table.intercept))
        self.slopes = p_of_chi_square(self.numbers)
        squares = newton.pseudo_r_squares(initial, value, total)
        self.numbers |= dict(zip(("cox_snell", "nagelkerke", "mcfadden"), map(float, squares)))
