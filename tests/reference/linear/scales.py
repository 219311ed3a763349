#!/usr/bin/env python3
"""Prints the exact fits of a small table in columns of extreme size, as rows of a C++ table.

Rational arithmetic on the doubles of the table, rounded once at the end; a column that is a product
of covariates is rounded to 53 bits after each of its multiplications, whatever its size. Exponents
are those of the largest powers of two that are not above the largest value of a column, 0 from
2^-20 to 2^20; estimates, variances and the root mean square error are in the units that they leave.

    tests/reference/linear/scales.py
"""

import math
import pathlib
import sys
from fractions import Fraction

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import rational  # noqa: E402

# y, x, z, level, frequency weight, regression weight
ROWS = [
    (1.1, 0.2, 0.7, 0, 1, 1.0), (3.2, 1.3, 1.9, 1, 2, 0.5), (2.3, 2.4, 0.4, 1, 1, 2.0),
    (6.4, 3.1, 2.2, 0, 3, 1.0), (5.9, 4.4, 1.1, 1, 5, 0.3), (7.7, 5.3, 0.9, 0, 1, 1.9),
    (7.1, 6.2, 1.7, 1, 1, 0.1), (9.4, 7.5, 0.3, 0, 2, 1.2),
]
COLUMN = {"x": 1, "z": 2}

# name: scales of y, x, z; terms; intercept; weights
CASES = {
    "LargeX": (1, 1e155, 1, ["x"], True, False),
    "LargestX": (1, 2e307, 1, ["x"], True, False),
    "LargestXAlone": (1, 2e307, 1, ["x"], False, False),
    "SmallX": (1, 5e-170, 1, ["x"], True, False),
    "SubnormalX": (1, 5e-320, 1, ["x"], True, False),
    "SubnormalXAlone": (1, 5e-320, 1, ["x"], False, True),
    "SmallY": (1e-170, 1, 1, ["x", "z"], True, False),
    "SubnormalY": (1e-320, 1, 1, ["x", "z"], True, False),
    "LargeY": (1e300, 1, 1, ["x", "z"], True, True),
    "LargeYAlone": (1e300, 1, 1, ["x", "z"], False, True),
    "LargeXAndY": (1e300, 1e300, 1, ["x"], True, False),
    "SmallXAndLargeZ": (1, 1e-250, 1e250, ["x", "z"], True, True),
    "LargeProduct": (1, 1e200, 1e200, ["x", "z", "xz"], True, False),
    "LargeProductWeighted": (1e-200, 1e200, 1e200, ["xz"], False, True),
    "SmallProduct": (1, 1e-200, 1e-200, ["x", "z", "xz"], True, False),
    "BalancedProduct": (1, 1e200, 1e-200, ["x", "z", "xz"], True, True),
    "BalancedSquares": (1, 1e200, 1e-200, ["xxzz"], True, False),
    "LargePowers": (1, 1e200, 1, ["x", "xx", "xxx"], True, False),
    "SmallPowers": (1, 3e-300, 1, ["x", "xx", "xxx"], True, True),
    "Slopes": (1, 1e160, 1, ["g", "gx"], True, True),
    "SmallSlopes": (1e-290, 1e-160, 1, ["gx", "xz"], False, False),
    "UsualSizes": (1, 1e5, 1e-5, ["g", "x", "z", "xz"], True, True),
}


def rounded(value):
    """A fraction to 53 bits, to nearest, ties to even, in a double's range or beyond."""
    if value == 0:
        return value
    shift = magnitude(value) - 52
    return Fraction(round(value / Fraction(2) ** shift)) * Fraction(2) ** shift


def magnitude(value):
    size = abs(value)
    estimate = size.numerator.bit_length() - size.denominator.bit_length()
    return estimate if size >= Fraction(2) ** estimate else estimate - 1


def exponent_of(column):
    largest = max(map(abs, column))
    own = magnitude(largest)
    return 0 if -20 <= own < 20 else own


def columns_of(case):
    _, x_scale, z_scale, terms, intercept, _ = CASES[case]
    scale = {"x": x_scale, "z": z_scale}
    columns = [[Fraction(1)] * len(ROWS)] if intercept else []
    exponents = [0] if intercept else []
    for term in terms:
        product = []
        for row in ROWS:
            value = Fraction(1)
            for name in term.replace("g", ""):
                value = rounded(value * Fraction(row[COLUMN[name]] * scale[name]))
            product.append(value)
        levels = sorted({row[3] for row in ROWS}) if "g" in term else [None]
        exponent = exponent_of(product)
        for level in levels:
            columns.append([value if level is None or row[3] == level else Fraction(0)
                            for value, row in zip(product, ROWS)])
            exponents.append(exponent)
    return columns, exponents


def double(value):
    return float(value).hex() if value else "0"


def listed(values):
    return "{" + ", ".join(values) + "}"


def main():
    for case, (y_scale, _, _, _, intercept, weighted) in CASES.items():
        columns, exponents = columns_of(case)
        y = [Fraction(row[0] * y_scale) for row in ROWS]
        own = exponent_of(y)
        scaled = [[v / Fraction(2) ** e for v in c] for c, e in zip(columns, exponents)]
        target = [v / Fraction(2) ** own for v in y]
        frequency = [Fraction(row[4]) if weighted else Fraction(1) for row in ROWS]
        weights = [f * (Fraction(row[5]) if weighted else 1) for f, row in zip(frequency, ROWS)]
        fit = rational.least_squares(scaled, target, intercept, weights)
        print(f'    {{"{case}",')
        print(f"     {listed(map(str, exponents))},")
        print(f"     {own},")
        print(f"     {listed(map(double, fit.estimates))},")
        print(f"     {listed(map(double, fit.variances))},")
        print(f"     {double(fit.r_square)},")
        print(f"     {math.sqrt(fit.residual / sum(frequency)).hex()}}},")


if __name__ == "__main__":
    main()
