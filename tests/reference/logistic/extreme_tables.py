#!/usr/bin/env python3
"""The made-up tables of the extreme cases: far from 0, in odd units, rare, separated.

    tests/reference/logistic/extreme_tables.py

writes data/far.csv, cells.csv, levels.csv, touching.csv and apart.csv. Python's own library only.
"""

import math
from decimal import Decimal

from tables import Draws, write


def plain(number):
    """A decimal without an exponent."""
    return f"{Decimal(number):f}"


def bell(draws):
    """Nearly normal, with three decimals."""
    return Decimal(sum(draws.below(1001) for _ in range(12)) - 6000) / 1000


def chance(draws, odds):
    return draws.below(1000) < 1000 * odds / (1 + odds)


def write_far():
    """One lean on x in several columns: incomes around 40,000 with deviation 9,000, a mean a
    million times the deviation of 1.1, and one record of 1e8, with either answer."""
    draws = Draws(3)
    rows = []
    for i in range(300):
        x, z = bell(draws), bell(draws)
        answer = "yes" if chance(draws, math.exp(x)) else "no"
        outlier = 100000000 if i == 0 else x
        rows.append([answer, "yes" if i == 0 else answer, "no" if i == 0 else answer, x, z,
                     plain(40000 + 9000 * x), plain(1000000 + x * Decimal("1.1")), outlier])
    write("far", ["answer", "with", "against", "x", "z", "income", "mean", "outlier"], rows)


def write_cells():
    """Two groups by two answers with the frequencies of several tables; `h` swaps the groups'
    places, which swaps which of the two is the base."""
    counts = {"third": [60000000, 40000000, 1, 2], "rare": [100000000, 3, 100000000, 1],
              "opposite": [100000000, 3, 1, 100000000], "one": [60000000, 40000000, "0.75", "0.25"],
              "all": [60000000, 40000000, 0, 3], "none": [60000000, 40000000, 3, 0],
              "few": [60, 40, 0, 30]}
    rows = [[answer, g, h, *(count[i] for count in counts.values())]
            for i, (answer, g, h) in enumerate([("no", "a", "b"), ("yes", "a", "b"),
                                                ("no", "b", "a"), ("yes", "b", "a")])]
    write("cells", ["answer", "g", "h", *counts], rows)


def write_levels():
    """Three groups: `last` has 2 records in the last one, `steps` leaves the base to one with a
    single failure of 1e8 beside one of ten thousand."""
    last = [100000000, 150000000, 100000000, 200000000, "0.75", "1.25"]
    steps = [50000000, 60000000, 10000, 100000000, 1, 100000000]
    rows = [["no" if i % 2 == 0 else "yes", "abc"[i // 2], last[i], steps[i]] for i in range(6)]
    write("levels", ["answer", "g", "last", "steps"], rows)


def write_touching():
    """Both answers at one value of x, no below and yes above, in several units and places."""
    rows = []
    for i, x in enumerate([-4, -3, -2, -1, 0, 1, 2, 3, 4, 0, 0]):
        answer = "yes" if x > 0 or i == 9 else "no"
        rows.append([answer, x, i * 7 % 5, plain(x * 10**9), plain(Decimal(x).scaleb(-9)),
                     x + 1000])
    write("touching", ["answer", "x", "z", "bytes", "small", "shifted"], rows)


def write_apart():
    """Three categories that overlap in `mixed`; in `one` the first lies apart from the others, in
    `level` the level b of g has none of the first, in `whole` nothing but the first."""
    draws = Draws(5)
    rows = []
    for i in range(240):
        x, z, g = bell(draws), bell(draws), "abc"[i % 3]
        parts = [1.0, math.exp(0.8 * float(x)), math.exp(0.4 * float(z) - 0.5 * float(x))]
        draw = draws.below(1000) / 1000 * sum(parts)
        mixed = 0 if draw < 1 else 1 if draw < parts[0] + parts[1] else 2
        one = 0 if x > Decimal("0.3") else max(mixed, 1)
        level = 2 if g == "b" and mixed == 0 else mixed
        whole = 0 if g == "b" else mixed
        names = ["ape", "bee", "cat"]
        rows.append([*(names[code] for code in (mixed, one, level, whole)),
                     plain(100 + 5 * x), z, g])
    write("apart", ["mixed", "one", "level", "whole", "x", "z", "g"], rows)


if __name__ == "__main__":
    write_far()
    write_cells()
    write_levels()
    write_touching()
    write_apart()
