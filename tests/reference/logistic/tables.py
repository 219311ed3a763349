#!/usr/bin/env python3
"""The made-up tables of the logistic cases, and the flights.

    tests/reference/logistic/tables.py [FLIGHTS.json]

writes data/made.csv, data/holes.csv and the tables of the separation cases; given flights-5k.json
of the vega-datasets package (3.2.1), data/flights.csv too. Python's own library only.
"""

import json
import pathlib
import sys
from collections import Counter

DATA = pathlib.Path(__file__).resolve().parent / "data"


class Draws:
    """Whole numbers by the minimal standard generator, the same everywhere."""

    def __init__(self, seed):
        self.state = seed
        for _ in range(5):
            self._step()

    def _step(self):
        self.state = self.state * 16807 % 2147483647
        return self.state

    def below(self, limit):
        return self._step() // 1024 % limit

    def pick(self, values):
        return values[self.below(len(values))]


def write(name, header, rows):
    lines = [",".join(header)] + [",".join(str(cell) for cell in row) for row in rows]
    (DATA / f"{name}.csv").write_text("\n".join(lines) + "\n", encoding="ascii")
    print(f"{name:12} {len(rows)} rows")


def tenths(whole):
    """A whole number of tenths as a short decimal."""
    sign = "-" if whole < 0 else ""
    return f"{sign}{abs(whole) // 10}.{abs(whole) % 10}"


MADE = ["two", "three", "seven", "g", "a", "b", "x", "z", "x2", "s", "n", "r"]


def made_rows(count):
    """Three dependents that lean on the rest without being settled by it; `a` by `b` has empty
    cells, `x2` is twice `x`, `s` is 3 x - 2 z + 5, `n` may be 0."""
    draws = Draws(7)
    rows = []
    while len(rows) < count:
        g = draws.pick(["blue", "green", "red"])
        a = draws.pick(["low", "mid", "top"])
        b = draws.pick(["east", "north", "south", "west"])
        x = draws.below(41)
        z = draws.below(13) - 6
        lean = x + 3 * z + 9 * (g == "green") - 7 * (a == "top") + 6 * (b == "south")
        two = "yes" if lean + draws.below(81) > 60 else "no"
        place = lean + draws.below(91) - 30
        three = "agree" if place > 45 else "doubt" if place > 15 else "deny"
        seven = 1 + (max(0, lean + 25 + draws.below(60)) // 16 + draws.below(4)) % 7
        n = draws.below(5)
        r = ["0.25", "0.5", "0.75", "1", "1.25", "1.5", "1.75", "2"][draws.below(8)]
        if (a, b) in {("mid", "west"), ("top", "east")}:
            continue
        s = 3 * x - 20 * z + 50
        rows.append([two, three, seven, g, a, b, tenths(x), z, tenths(2 * x), tenths(s), n, r])
    return rows


def holes_rows(rows):
    """Empty cells in every kind of column; no record with `deny`, 3 or 5 can be used, for want of
    `x` or of a frequency."""
    x, n = MADE.index("x"), MADE.index("n")
    rows = [list(row) for row in rows]
    for i, row in enumerate(rows):
        if row[1] == "deny" or row[2] in (3, 5):
            row[x if i % 2 else n] = "" if i % 2 else 0
        for column in range(len(MADE)):
            if (i * 7 + column * 13) % 97 == 0:
                row[column] = ""
    return rows


def write_separation_tables():
    # Below 10 no, from 10 on yes; and three categories, each a stretch of x.
    write("complete", ["answer", "level", "x", "z"],
          [["yes" if x >= 10 else "no", ["low", "mid", "high"][x // 7], x, x * x * 7 % 11]
           for x in range(21)])
    # In group c every answer is yes; the others are mixed.
    draws = Draws(11)
    rows = []
    for i in range(60):
        g = "abc"[i % 3]
        rows.append(["yes" if g == "c" or draws.below(2) else "no", g, tenths(draws.below(50))])
    write("one_group", ["answer", "g", "x"], rows)
    # y differs from x where |x| > 8 only: enough to keep both columns, but there the answer is all
    # but certain, so that the information about the difference is lost.
    rows = []
    for x in range(-100, 101):
        answer = (x > 0) != (abs(x) <= 6 and x % 3 == 0)
        bump = (1 if x % 2 else -1) * 1e-4 if abs(x) > 80 else 0
        rows.append(["yes" if answer else "no", tenths(x), f"{x / 10 + bump:.4f}"])
    write("near_copy", ["answer", "x", "y"], rows)


def write_flights(source):
    """The flights from the 20 busiest origins, late or not and in three classes of delay."""
    flights = json.loads(pathlib.Path(source).read_text(encoding="utf-8"))
    busiest = {origin for origin, _ in Counter(f["origin"] for f in flights).most_common(20)}
    rows = []
    for flight in flights:
        if flight["origin"] not in busiest:
            continue
        delay = flight["delay"]
        arrival = "early" if delay < 0 else "late" if delay > 15 else "near"
        rows.append(["yes" if delay > 15 else "no", arrival, flight["distance"], flight["origin"]])
    write("flights", ["late", "arrival", "distance", "origin"], rows)


def main():
    made = made_rows(480)
    write("made", MADE, made)
    write("holes", MADE, holes_rows(made))
    write_separation_tables()
    if len(sys.argv) > 1:
        write_flights(sys.argv[1])


if __name__ == "__main__":
    main()
