"""The reference fits: tables coded as the library reads them, models, expected values."""

import json
import pathlib
import sys

import qvreg

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "reference"))
import design  # noqa: E402


class Case:
    """One reference fit."""

    def __init__(self, root, name):
        self.name = name
        self.expected = json.loads((root / f"{name}.json").read_text())
        self.is_logistic = self.expected["kind"] == "logistic"
        options = self.expected["options"]
        self.options = dict(zip(options[::2], options[1::2]))
        self.formula = design.Model(self.expected["dependent"], self.expected["intercept"],
                                    [design.Term.of(term) for term in self.expected["terms"]])
        self.read_table(design.read_table(root / self.expected["data"]))

    def read_table(self, rows):
        self.columns = list(rows[0])
        self.levels = {}
        coded = self.formula.factors() + ([self.formula.dependent] if self.is_logistic else [])
        used = self.formula.variables() + [self.options[weight] for weight in
                                           ("--freq-weight", "--regression-weight")
                                           if weight in self.options]
        self.values = []
        for name in self.columns:
            cells = [row[name] for row in rows]
            if name in coded:
                self.levels[name] = design.in_order(set(cells) - {""})
                self.values.append([self.levels[name].index(c) if c else -1.0 for c in cells])
            elif name in used:
                self.values.append([float(c) if c else qvreg.MISSING for c in cells])
            else:
                self.values.append([0.0] * len(cells))

    def position(self, column):
        return self.columns.index(column)

    def weight(self, option):
        return self.position(self.options[option]) if option in self.options else None

    def model(self):
        return qvreg.Model(
            qvreg.LOGISTIC if self.is_logistic else qvreg.LINEAR,
            self.position(self.formula.dependent),
            {self.position(name): len(self.levels[name]) for name in self.formula.factors()},
            [self.position(name) for name in self.formula.covariates()],
            [self.effect(term) for term in self.formula.terms],
            self.weight("--freq-weight"), self.weight("--regression-weight"))

    def effect(self, term):
        return qvreg.Effect([self.position(name) for name in term.factors],
                            [self.position(name) for name, power in term.covariates.items()
                             for _ in range(power)], term.is_nested)

    def dependent_levels(self):
        return self.levels[self.formula.dependent]

    def reference_category(self):
        named = {"first": qvreg.FIRST_OBSERVED, "last": qvreg.LAST_OBSERVED}
        asked = self.options["--reference"]
        return named[asked] if asked in named else self.dependent_levels().index(asked)


def all_cases(folder):
    root = pathlib.Path(folder)
    return [Case(root, path.relative_to(root).with_suffix("").as_posix())
            for part in ("linear", "r", "logistic/fits")
            for path in sorted((root / part).glob("*.json"))]
