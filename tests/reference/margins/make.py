#!/usr/bin/env python3
"""Average marginal effects with standard errors, by numerical derivatives in 60 digits.

    tests/reference/margins/make.py

reads ../robust/everything.csv and writes effects.csv: for each model below, variable, level and
category the average effect and its standard error, both empty where the data leave the effect
open. Estimates by Newton's iteration; the derivative of a prediction by a column is a difference
quotient of the prediction with another value of that column, and the gradient by the parameters one
of the average effect with other parameters, so that nothing is differentiated by rules. An effect is
open where a record lacks a parameter for the level it is set to, or where the gradient weighs a
column that depends on earlier ones otherwise than these. Needs nothing but Python 3.10.
"""
import csv
from decimal import Decimal as D, getcontext
from pathlib import Path

getcontext().prec = 60
HERE = Path(__file__).resolve().parent
ROWS = list(csv.DictReader(open(HERE.parent / "robust" / "everything.csv")))
STEP = D("1e-15")  # of columns
SHIFT = D("1e-12")  # of parameters
ONE = lambda x, x2: D(1)

EVERYTHING = [((), ONE), (("a",), ONE), (("b",), ONE), (("a", "b"), ONE), (("a", "c"), ONE),
              ((), lambda x, x2: x), ((), lambda x, x2: x * x), ((), lambda x, x2: x2)]


def functions(mean, deviation):
    """1 + a*b + a/c + a:x + I(x^2) + scale(x) + log(x2) + I(sqrt(x) * exp(-x2 / 9))"""
    return [((), ONE), (("a",), ONE), (("b",), ONE), (("a", "b"), ONE), (("a", "c"), ONE),
            (("a",), lambda x, x2: x), ((), lambda x, x2: x * x),
            ((), lambda x, x2: (x - mean) / deviation), ((), lambda x, x2: x2.ln()),
            ((), lambda x, x2: x.sqrt() * (-x2 / 9).exp())]


SHORT = [(("a",), ONE), ((), lambda x, x2: x), (("b",), lambda x, x2: x)]  # 0 + a + x + b:x


class Model:
    """The design of some terms over the records used."""

    def __init__(self, terms, dependent):
        self.used = [r for r in ROWS
                     if all(r[n] for n in ("a", "b", "c", "x", "x2", "r", dependent))
                     and float(r["f"]) > 0]
        self.f = [D(r["f"]) for r in self.used]
        self.r = [D(r["r"]) for r in self.used]
        x = [D(r["x"]) for r in self.used]
        if callable(terms):
            mean = sum(x) / len(x)
            terms = terms(mean, (sum((v - mean) ** 2 for v in x) / (len(x) - 1)).sqrt())
        self.terms = terms
        self.index = {}
        for t, (names, _) in enumerate(terms):
            for cell in sorted({tuple(r[n] for n in names) for r in self.used}):
                self.index[t, cell] = len(self.index)
        self.size = len(self.index)
        self.rows = [self.row(r) for r in self.used]
        self.find_kept()

    def row(self, record, change=None):
        """Non-zeros; None where a combination of levels has no parameter."""
        record = {**record, **(change or {})}
        x, x2 = D(record["x"]), D(record["x2"])
        row = []
        for t, (names, value) in enumerate(self.terms):
            place = self.index.get((t, tuple(record[n] for n in names)))
            if place is None:
                return None
            row.append((place, value(x, x2)))
        return row

    def find_kept(self):
        """Which columns do not depend on earlier ones, and how the others do."""
        dense = [[D(0)] * self.size for _ in self.rows]
        for i, row in enumerate(self.rows):
            for place, value in row:
                dense[i][place] = value
        self.kept, self.combinations = [], {}
        basis = []
        for j in range(self.size):
            column = [line[j] for line in dense]
            rest, weights = column[:], {j: D(1)}
            for vector, own in basis:
                share = sum(a * b for a, b in zip(rest, vector)) / sum(b * b for b in vector)
                rest = [a - share * b for a, b in zip(rest, vector)]
                for k, w in own.items():
                    weights[k] = weights.get(k, D(0)) - share * w
            if sum(v * v for v in rest) > D("1e-60") * sum(v * v for v in column):
                self.kept.append(j)
                basis.append((rest, weights))
            else:
                self.combinations[j] = {k: -w for k, w in weights.items() if k != j}


def solve(matrix, sides):
    """Of a positive definite matrix, the solutions for some right sides."""
    n = len(matrix)
    a = [row[:] + [side[i] for side in sides] for i, row in enumerate(matrix)]
    for k in range(n):
        for i in range(k + 1, n):
            factor = a[i][k] / a[k][k]
            if factor:
                a[i] = [u - factor * v for u, v in zip(a[i], a[k])]
    for k in reversed(range(n)):
        a[k] = [v / a[k][k] for v in a[k]]
        for i in range(k):
            factor = a[i][k]
            if factor:
                a[i] = [u - factor * v for u, v in zip(a[i], a[k])]
    return [[a[i][n + s] for i in range(n)] for s in range(len(sides))]


def inverse(matrix):
    n = len(matrix)
    columns = solve(matrix, [[D(int(i == j)) for i in range(n)] for j in range(n)])
    return [[columns[j][i] for j in range(n)] for i in range(n)]


def predictors(b, row, blocks, size):
    return [sum(v * b[k * size + p] for p, v in row) for k in range(blocks)]


def probabilities(b, row, blocks, size):
    odds = [eta.exp() for eta in predictors(b, row, blocks, size)] + [D(1)]
    total = sum(odds)
    return [o / total for o in odds]


def fit_linear(model, robust):
    kept = {p: i for i, p in enumerate(model.kept)}
    n = len(kept)
    xx = [[D(0)] * n for _ in range(n)]
    xy = [D(0)] * n
    y = [D(r["y"]) for r in model.used]
    for row, f, r, v in zip(model.rows, model.f, model.r, y):
        own = [(kept[p], w) for p, w in row if p in kept]
        for i, a in own:
            xy[i] += f * r * a * v
            for j, c in own:
                xx[i][j] += f * r * a * c
    inner = inverse(xx)
    b = [D(0)] * model.size
    for p, i in kept.items():
        b[p] = sum(inner[i][j] * xy[j] for j in range(n))
    residuals = [v - sum(w * b[p] for p, w in row) for row, v in zip(model.rows, y)]
    df = sum(model.f) - n
    variance = sum(f * r * e * e for f, r, e in zip(model.f, model.r, residuals)) / df
    cov = [[variance * v for v in line] for line in inner]
    if robust:  # hc1
        meat = [[D(0)] * n for _ in range(n)]
        for row, f, r, e in zip(model.rows, model.f, model.r, residuals):
            own = [(kept[p], w) for p, w in row if p in kept]
            for i, a in own:
                for j, c in own:
                    meat[i][j] += f * (r * e) ** 2 * a * c * sum(model.f) / df
        half = [[sum(inner[i][k] * meat[k][j] for k in range(n)) for j in range(n)]
                for i in range(n)]
        cov = [[sum(half[i][k] * inner[k][j] for k in range(n)) for j in range(n)]
               for i in range(n)]
    return b, model.kept, cov


def fit_logistic(model, dependent, levels):
    blocks, size = len(levels) - 1, model.size
    places = [k * size + p for k in range(blocks) for p in model.kept]
    number = {p: i for i, p in enumerate(places)}
    n = len(places)
    b = [D(0)] * (blocks * size)
    for _ in range(60):
        score = [D(0)] * n
        info = [[D(0)] * n for _ in range(n)]
        for row, f, r, record in zip(model.rows, model.f, model.r, model.used):
            p = probabilities(b, row, blocks, size)
            for k in range(blocks):
                own = [(number[k * size + q], w) for q, w in row if k * size + q in number]
                rest = D(int(record[dependent] == levels[k])) - p[k]
                for i, a in own:
                    score[i] += f * r * rest * a
                for m in range(blocks):
                    weight = f * r * p[k] * (D(int(k == m)) - p[m])
                    other = [(number[m * size + q], w) for q, w in row if m * size + q in number]
                    for i, a in own:
                        for j, c in other:
                            info[i][j] += weight * a * c
        step = solve(info, [score])[0]
        for p, i in number.items():
            b[p] += step[i]
        if max(abs(s) for s in step) < D("1e-40"):
            return b, places, inverse(info)
    raise SystemExit("no convergence")


def effects(name, model, b, describe, levels, variables, bases):
    blocks, size = max(len(levels) - 1, 1), model.size
    total = sum(model.f)

    def predictions(params, row):
        if levels:
            return probabilities(params, row, blocks, size)
        return predictors(params, row, 1, size)

    def average(params, pairs):
        """Of the differences between predictions for two rows over a width, category by category."""
        sums = None
        for f, (high, low, width) in zip(model.f, pairs):
            own = [f * (u - v) / width
                   for u, v in zip(predictions(params, high), predictions(params, low))]
            sums = own if sums is None else [u + v for u, v in zip(sums, own)]
        return [v / total for v in sums]

    for variable in variables:
        values = sorted({r[variable] for r in model.used}) if variable in "abc" else [None]
        base = bases.get(variable, values[-1])
        for value in values:
            if value is not None and value == base:
                continue
            if value is None:
                at = lambda r, h: {variable: D(r[variable]) + h}
                pairs = [(model.row(r, at(r, STEP)), model.row(r, at(r, -STEP)), 2 * STEP)
                         for r in model.used]
            else:
                pairs = [(model.row(r, {variable: value}), model.row(r, {variable: base}), 1)
                         for r in model.used]
            lines = [(name, variable, value or "", level, "", "") for level in levels or [""]]
            if all(high is not None and low is not None for high, low, _ in pairs):
                lines = describe(name, variable, value, average, pairs)
            yield from lines


def gradient_of(average, b, pairs):
    columns = []
    for p in range(len(b)):
        high, low = b[:], b[:]
        high[p] += SHIFT
        low[p] -= SHIFT
        columns.append([(u - v) / (2 * SHIFT)
                        for u, v in zip(average(high, pairs), average(low, pairs))])
    return columns


CASES = [  # name, terms, dependent, levels (the reference last), variables, bases, robust
    ("linear", EVERYTHING, "y", [], ["a", "b", "c", "x", "x2"], {"b": "k"}, False),
    ("linear_hc1", EVERYTHING, "y", [], ["a", "b", "c"], {"b": "k"}, True),
    ("linear_functions", functions, "y", [], ["a", "b", "c", "x", "x2"], {"b": "k"}, False),
    ("linear_short", SHORT, "y", [], ["a", "b", "x"], {}, False),
    ("binary", EVERYTHING, "yb", ["yes", "no"], ["a", "b", "c", "x", "x2"], {"b": "k"}, False),
    ("binary_functions", functions, "yb", ["yes", "no"], ["a", "b", "c", "x", "x2"], {"b": "k"},
     False),
    ("three", EVERYTHING, "y3", ["hi", "lo", "mid"], ["a", "b", "c", "x", "x2"], {"b": "k"}, False),
    ("three_functions", functions, "y3", ["hi", "lo", "mid"], ["a", "b", "c", "x", "x2"],
     {"b": "k"}, False),
    ("three_short", SHORT, "y3", ["hi", "lo", "mid"], ["a", "b", "x"], {}, False),
]


def main():
    with open(HERE / "effects.csv", "w") as file:
        file.write("model,variable,level,category,effect,std_error\n")
        for name, terms, dependent, levels, variables, bases, robust in CASES:
            model = Model(terms, dependent)
            b, places, cov = (fit_logistic(model, dependent, levels) if levels
                              else fit_linear(model, robust))

            def describe(name, variable, value, average, pairs):
                gradients = gradient_of(average, b, pairs)
                for k, effect in enumerate(average(b, pairs)):
                    g = [column[k] for column in gradients]
                    isOpen = False
                    for block in range(len(b) // model.size):
                        own = g[block * model.size:(block + 1) * model.size]
                        for j, combination in model.combinations.items():
                            rest = own[j] - sum(w * own[i] for i, w in combination.items())
                            isOpen = isOpen or abs(rest) > D("1e-15")
                    level = levels[k] if levels else ""
                    if isOpen:
                        yield name, variable, value or "", level, "", ""
                        continue
                    at = [g[p] for p in places]
                    square = sum(at[i] * cov[i][j] * at[j]
                                 for i in range(len(at)) for j in range(len(at)))
                    yield name, variable, value or "", level, float(effect), float(square.sqrt())

            for line in effects(name, model, b, describe, levels, variables, bases):
                file.write(",".join(v if isinstance(v, str) else repr(v) for v in line) + "\n")
            print(name)


main()
