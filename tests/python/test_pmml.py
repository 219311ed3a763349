"""test_pmml.py QVREG TABLES: saves models and scores the tables by what their PMML says to an engine
that knows the standard alone, as its text on general regression tells; the command's own predictions
are the same but for rounding."""

import csv
import math
import pathlib
import subprocess
import sys
import tempfile

import pmml_rules
from pmml_rules import SPACE

MODELS = [
    ("cars.csv", "miles_per_gallon ~ weight"),
    ("cars.csv", "miles_per_gallon ~ origin*weight + I(horsepower^2) + C(cylinders):displacement"),
    ("cars.csv", "log(miles_per_gallon) ~ scale(weight) + center(acceleration) + origin/C(model_year)"),
    ("cars.csv", "miles_per_gallon ~ log(weight) + I(if(origin = 'USA' and horsepower > 100, 1, 0))"
                 " + I(weight > 3000) + I(displacement / cylinders) + least(weight, 4000)"
                 " + I((weight - 3000)^2) + I(2^-acceleration) + I(-abs(acceleration))"),
    ("penguins.csv", "sex ~ species + body_mass + I(flipper_length between 190 and 210)"),
    ("penguins.csv", "species ~ beak_length + scale(beak_depth) + sex"),
    ("penguins.csv", "I(body_mass > 4000) ~ species*sex"),
]


class Missing(Exception):
    """A value is missing."""


def both(values):
    return all(values)


APPLY = {
    "+": lambda a, b: a + b, "-": lambda a, b: a - b, "*": lambda a, b: a * b,
    "/": lambda a, b: a / b, "min": min, "max": max, "ln": math.log, "exp": math.exp,
    "abs": abs, "pow": math.pow, "sqrt": math.sqrt, "equal": lambda a, b: a == b,
    "notEqual": lambda a, b: a != b, "lessThan": lambda a, b: a < b,
    "lessOrEqual": lambda a, b: a <= b, "greaterThan": lambda a, b: a > b,
    "greaterOrEqual": lambda a, b: a >= b, "and": lambda *a: all(a), "or": lambda *a: any(a),
    "not": lambda a: not a,
}


def typed(text, kind):
    if kind in ("double", "integer"):
        return float(text)
    return text == "true" if kind == "boolean" else text


class Engine:
    """Scores records by one document."""

    def __init__(self, root):
        self.kinds = {f.get("name"): f.get("dataType") for f in root.iter(SPACE + "DataField")}
        self.derived = {f.get("name"): f for f in root.iter(SPACE + "DerivedField")}
        self.kinds.update((name, f.get("dataType")) for name, f in self.derived.items())
        self.model = root.find(SPACE + "GeneralRegressionModel")
        self.factors = {p.get("name") for p in
                        self.model.find(SPACE + "FactorList")}
        self.values = {name: {v.get("value") for v in field.findall(SPACE + "Value")}
                       for name, field in
                       [(f.get("name"), f) for kind in ("DataField", "DerivedField")
                        for f in root.iter(SPACE + kind)]}
        self.cells = {}
        for cell in self.model.iter(SPACE + "PPCell"):
            self.cells.setdefault(cell.get("parameterName"), []).append(
                (cell.get("predictorName"), cell.get("value")))

    def field(self, name, record):
        if name in self.derived:
            return self.expression(self.derived[name][0], record)
        if record[name] in ("", "NA"):
            raise Missing(name)
        return typed(record[name], self.kinds[name])

    def expression(self, element, record):
        kind = element.tag[len(SPACE):]
        if kind == "FieldRef":
            return self.field(element.get("field"), record)
        if kind == "Constant":
            return typed(element.text, element.get("dataType"))
        function = element.get("function")
        if function == "isNotMissing":
            try:
                self.expression(element[0], record)
                return True
            except Missing:
                return False
        if function == "if":
            place = 1 if self.expression(element[0], record) else 2
            if place >= len(element):
                raise Missing(function)
            return self.expression(element[place], record)
        return APPLY[function](*(self.expression(child, record) for child in element))

    def product(self, parameter, record):
        """The value of a parameter's column: a product over its cells, 1 without any."""
        product = 1.0
        for predictor, value in self.cells.get(parameter, ()):
            found = self.field(predictor, record)
            if predictor in self.factors:
                product *= found == typed(value, self.kinds[predictor])
            else:
                product *= found ** float(value)
        return product

    def is_valid(self, record):
        """Whether all predictors have values, and factors levels that the model knows."""
        for name in self.factors | {p for cells in self.cells.values() for p, _ in cells}:
            found = self.field(name, record)
            if name in self.factors and found not in {typed(v, self.kinds[name])
                                                      for v in self.values[name]}:
                return False
        return True

    def score(self, record):
        """The linear predictor by target category; of a linear model under None."""
        sums = {}
        for cell in self.model.iter(SPACE + "PCell"):
            category = cell.get("targetCategory")
            sums[category] = sums.get(category, 0.0) + float(cell.get("beta")) * self.product(
                cell.get("parameterName"), record)
        if None in sums:
            return sums
        sums[self.model.get("targetReferenceCategory")] = 0.0
        largest = max(sums.values())
        shares = {category: math.exp(value - largest) for category, value in sums.items()}
        return {category: share / sum(shares.values()) for category, share in shares.items()}


def difference(engine, record, prediction):
    """The largest difference of one record's scores from its predictions; None where both are missing."""
    try:
        scores = engine.score(record) if engine.is_valid(record) else {}
    except Missing:
        scores = {}
    if not scores:
        assert prediction["predicted"] == "", (record, prediction)
        return None
    worst = 0.0
    for category, score in scores.items():
        own = float(prediction["predicted" if category is None else "p_" + category])
        worst = max(worst, abs(score - own) / max(1.0, abs(own)))
    return worst


def check(command, table, formula, folder):
    model, out = folder / "model.pmml", folder / "out.csv"
    subprocess.run([command, "fit", "-d", table, "-f", formula, "-q", "--save", model, "-o", out],
                   check=True)
    engine = Engine(pmml_rules.read(model))
    with open(table, newline="") as data, open(out, newline="") as predictions:
        found = [difference(engine, record, prediction)
                 for record, prediction in zip(csv.DictReader(data), csv.DictReader(predictions))]
    scored = [value for value in found if value is not None]
    assert len(scored) > len(found) * 0.9, f"{formula}: {len(scored)} of {len(found)} scored"
    print(f"{max(scored):.1e}  {len(scored)} of {len(found)} records  {formula}")
    assert max(scored) < 1e-9, formula


def main():
    command, tables = sys.argv[1], pathlib.Path(sys.argv[2])
    with tempfile.TemporaryDirectory() as folder:
        for table, formula in MODELS:
            check(command, tables / table, formula, pathlib.Path(folder))


main()
