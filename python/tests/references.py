"""The reference fits of the library's own tests, as formulas on DataFrames."""

import json
import sys
from pathlib import Path

import pandas as pd

FOLDER = Path(__file__).resolve().parents[2] / "tests" / "reference"
sys.path.append(str(FOLDER))
import design  # noqa: E402


def names_of_cases(*parts):
    return [path.relative_to(FOLDER).with_suffix("").as_posix()
            for part in parts for path in sorted((FOLDER / part).glob("*.json"))]


class Case:
    """A table, a formula, weights, and what is expected: see tests/reference/README.md."""

    def __init__(self, name):
        self.expected = json.loads((FOLDER / f"{name}.json").read_text())
        options = self.expected["options"]
        self._options = dict(zip(options[::2], options[1::2]))
        self.dependent = self.expected["dependent"]
        self.is_linear = self.expected["kind"] == "linear"
        self._factors = {factor for term in self.expected["terms"] for factor in term["factors"]}
        self.table = self._read()
        self.formula = self._formula()

    @property
    def weights(self):
        return self._options.get("--regression-weight")

    @property
    def freq_weights(self):
        return self._options.get("--freq-weight")

    def _read(self):
        rows = design.read_table(FOLDER / self.expected["data"])
        table = pd.DataFrame(rows)
        texts = self._factors | (set() if self.is_linear else {self.dependent})
        for name in table:
            if name in texts:
                levels = design.in_order(set(table[name]) - {""})
                table[name] = pd.Categorical(table[name].where(table[name] != ""), levels).remove_unused_categories()
            else:
                table[name] = pd.to_numeric(table[name], errors="coerce")
        return table

    def _formula(self):
        terms = [":".join([f"Q({factor!r})" for factor in term["factors"]]
                          + [_power(name, power) for name, power in term["covariates"].items()])
                 for term in self.expected["terms"]]
        start = "1" if self.expected["intercept"] else "0"
        return f"Q({self.dependent!r}) ~ {' + '.join([start, *terms])}"

    def used(self):
        """The rows that are used: without a missing value, and with weights above 0."""
        columns = set(self._factors) | {self.dependent}
        columns |= {name for term in self.expected["terms"] for name in term["covariates"]}
        weights = [name for name in (self.weights, self.freq_weights) if name]
        table = self.table.dropna(subset=list(columns) + weights)
        for name in weights:
            table = table[table[name] > 0]
        return table


def _power(name, power):
    return f"Q({name!r})" if power == 1 else f"I(Q({name!r})**{power})"
