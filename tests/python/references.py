"""The reference fits: tables coded as the library reads them, models, expected values."""

import csv
import json
import pathlib

import qvreg


class Term:
    """An effect: its factors, and its covariates with their powers, by column."""

    def __init__(self, factors, covariates):
        self.factors = factors
        self.covariates = covariates


def unique(names):
    return list(dict.fromkeys(names))


def by_value_or_bytes(levels):
    try:
        return sorted(levels, key=float)
    except ValueError:
        return sorted(levels, key=lambda level: level.encode())


class Case:
    """One reference fit."""

    def __init__(self, path, kind):
        self.name = f"{path.parent.name}/{path.stem}"
        self.kind = kind
        self.expected = json.loads(path.read_text())
        options = self.expected["options"]
        self.options = dict(zip(options[::2], options[1::2]))
        if kind == qvreg.LINEAR:
            table = path.with_suffix(".csv")
            self.dependent, self.terms = read_formula(self.expected["formula"], table)
            self.intercept = True
        else:
            table = path.parent.parent / self.expected["data"]
            self.dependent = self.expected["dependent"]
            self.intercept = self.expected["intercept"]
            self.terms = [Term(t["factors"], t["covariates"]) for t in self.expected["terms"]]
        self.factors = unique(name for term in self.terms for name in term.factors)
        self.covariates = unique(name for term in self.terms for name in term.covariates)
        self.read_table(table)

    def read_table(self, path):
        header, *rows = read_cells(path)
        self.columns = header
        self.levels = {}
        self.values = []
        coded = self.factors + ([self.dependent] if self.kind == qvreg.LOGISTIC else [])
        numbers = self.covariates + [self.dependent] + [
            self.options[weight] for weight in ("--freq-weight", "--regression-weight")
            if weight in self.options]
        for name, cells in zip(header, zip(*rows)):
            if name in coded:
                self.levels[name] = by_value_or_bytes(set(cells) - {""})
                self.values.append([self.levels[name].index(c) if c else -1.0 for c in cells])
            elif name in numbers:
                self.values.append([float(c) if c else qvreg.MISSING for c in cells])
            else:
                self.values.append([0.0] * len(cells))

    def position(self, column):
        return self.columns.index(column)

    def reference_category(self):
        named = {"first": qvreg.FIRST_OBSERVED, "last": qvreg.LAST_OBSERVED}
        asked = self.options["--reference"]
        return named[asked] if asked in named else self.levels[self.dependent].index(asked)


def read_cells(path):
    with open(path, newline="", encoding="utf-8") as file:
        return list(csv.reader(file))


def read_formula(formula, table):
    """`y ~ a * b + x + a:x`: what the formulas of the linear cases consist of."""
    dependent, right = (side.strip() for side in formula.split("~"))
    header, first, *_ = read_cells(table)
    texts = {name for name, cell in zip(header, first) if not is_number(cell)}
    terms = []
    for part in right.split(" + "):
        crossed = part.split(" * ")
        if len(crossed) == 1:
            terms.append(part.split(":"))
            continue
        expanded = []
        for name in crossed:
            expanded += [[name]] + [names + [name] for names in expanded]
        terms += expanded
    return dependent, [Term([n for n in names if n in texts],
                            {n: 1 for n in names if n not in texts}) for names in terms]


def is_number(cell):
    try:
        float(cell)
        return True
    except ValueError:
        return False


def all_cases(folder):
    root = pathlib.Path(folder)
    cases = [Case(path, qvreg.LINEAR) for path in sorted((root / "linear").glob("*.json"))]
    return cases + [Case(path, qvreg.LOGISTIC)
                    for path in sorted((root / "logistic" / "fits").glob("*.json"))]
