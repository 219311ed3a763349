"""Writes values of exp and log that are right to the last digit, and the table that the library's
exp looks up:

    python3 make.py values > values.csv
    python3 make.py table, for qvreg/common/QvElementary.cpp

Computed with mpmath (https://mpmath.org) to 60 digits. Doubles are written in base 16.
"""

import math
import random
import sys

import mpmath

mpmath.mp.dps = 60


def nearest(value):
    return float(value)  # mpmath rounds to nearest


def rest_of(value):
    """What the double nearest to value lacks of it."""
    return nearest(value - mpmath.mpf(nearest(value)))


def values():
    random.seed(20)
    near_half = [k * math.log(2) / 64 + d for k in range(-70, 71) for d in (math.log(2) / 128, 0.0)]
    exponents = (
        [random.uniform(-40, 40) for _ in range(60)]
        + [random.uniform(-708, 709) for _ in range(100)]
        + [math.ldexp(random.uniform(-1, 1), -random.randrange(60)) for _ in range(60)]
        + near_half
        + [709.782712893384, -708.39, 0.0, 1.0, -1.0]
    )
    arguments = (
        [math.ldexp(random.uniform(1, 2), random.randrange(-1022, 1023)) for _ in range(120)]
        + [random.uniform(0.5, 2) for _ in range(120)]
        + [1 + math.ldexp(random.uniform(-1, 1), -random.randrange(1, 53)) for _ in range(100)]
        + [5e-324, 2.2250738585072014e-308, 1.7976931348623157e308, 2.0, 0.5, 10.0]
    )
    print("function,argument,nearest,rest")
    for name, function, points in (("exp", mpmath.exp, exponents), ("log", mpmath.log, arguments)):
        for x in points:
            exact = function(mpmath.mpf(x))
            print(f"{name},{x.hex()},{nearest(exact).hex()},{rest_of(exact).hex()}")


def table():
    print("/// 2^(j/64) for j = 0 .. 63: rounded, and what the rounding leaves. Written by")
    print("/// tests/reference/elementary/make.py.")
    print("struct ExpTableRow {\n  double fHigh;\n  double fLow;\n};")
    print("constexpr std::array<ExpTableRow, 64> kExpTable = {{")
    for j in range(64):
        exact = mpmath.mpf(2) ** (mpmath.mpf(j) / 64)
        high = nearest(exact)
        print(f"    {{{high.hex()}, {nearest(exact - mpmath.mpf(high)).hex()}}},")
    print("}};")


{"values": values, "table": table}[sys.argv[1]]()
