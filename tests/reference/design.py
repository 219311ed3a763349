"""Formulas, tables and design columns of the reference cases, in exact numbers."""

import csv
import itertools
import re
from dataclasses import dataclass, field
from decimal import Decimal
from fractions import Fraction

import rational


@dataclass
class Term:
    """One effect: factors, crossed or each nested in those before it, times covariates' powers."""

    factors: list = field(default_factory=list)
    covariates: dict = field(default_factory=dict)  # column: power
    is_nested: bool = False

    def text(self):
        powers = [c if p == 1 else f"I({c}^{p})" for c, p in self.covariates.items()]
        return ":".join([f"C({f})" for f in self.factors] + powers)

    def keys(self):
        """The term as a reference file describes it."""
        keys = {"factors": self.factors, "covariates": self.covariates}
        return keys | {"nested": True} if self.is_nested else keys

    @classmethod
    def of(cls, keys):
        return cls(keys["factors"], keys["covariates"], keys.get("nested", False))


@dataclass
class Model:
    """What a formula says. Terms stand in the order written."""

    dependent: str
    intercept: bool
    terms: list

    def variables(self):
        names = [self.dependent]
        for term in self.terms:
            names += [*term.factors, *term.covariates]
        return list(dict.fromkeys(names))

    def factors(self):
        return list(dict.fromkeys(f for term in self.terms for f in term.factors))

    def covariates(self):
        return list(dict.fromkeys(c for term in self.terms for c in term.covariates))


def is_number(cell):
    return re.fullmatch(r"-?\d+(\.\d+)?", cell) is not None


def read_table(path):
    """A list of rows, each a dict of the cells as text."""
    with open(path, encoding="ascii", newline="") as file:
        return list(csv.DictReader(file))


def text_columns(rows):
    return {c for c in rows[0] if any(row[c] and not is_number(row[c]) for row in rows)}


def _operand(text, text_names):
    square = re.fullmatch(r"I\((\w+)\^(\d+)\)", text)
    if square:
        return Term([], {square[1]: int(square[2])})
    marked = re.fullmatch(r"C\((\w+)\)", text)
    if marked:
        return Term([marked[1]])
    return Term([text]) if text in text_names else Term([], {text: 1})


def _product(terms):
    factors, covariates = [], {}
    for term in terms:
        factors += [f for f in term.factors if f not in factors]
        for name, power in term.covariates.items():
            covariates[name] = covariates.get(name, 0) + power
    return Term(factors, covariates)


def _expand(summand, text_names):
    """`a:b`, `a*b` (a + b + a:b; with more factors the smaller products first where they end) or
    `a/b` (a + a:b)."""
    if "/" in summand:
        outer, inner = (_operand(part, text_names) for part in summand.split("/"))
        nested = _product([outer, inner])
        nested.is_nested = True
        return [outer, nested]
    terms = []
    for part in summand.split("*"):
        crossed = _product([_operand(piece, text_names) for piece in part.split(":")])
        terms += [crossed] + [_product([term, crossed]) for term in terms]
    return terms


def parse(formula, text_names):
    dependent, right = formula.replace(" ", "").split("~")
    model = Model(dependent, True, [])
    for summand in right.split("+"):
        if summand in "01":
            model.intercept = summand == "1"
        else:
            model.terms += _expand(summand, text_names)
    return model


def used_rows(rows, model, weights):
    """Those without an empty cell in a variable of the model and with weights above 0."""
    kept = [row for row in rows if all(row[name] for name in model.variables())]
    for weight in weights:
        kept = [row for row in kept if row[weight] and Decimal(row[weight]) > 0]
    return kept


def in_order(levels):
    """Numbers by value, text by bytes."""
    if all(is_number(level) for level in levels):
        return sorted(levels, key=Decimal)
    return sorted(levels)


def columns_of(model, rows):
    """The design's columns: of every effect one for each combination of levels that occurs, the
    first factor most significant."""
    levels = {f: in_order({row[f] for row in rows}) for f in model.factors()}
    columns = [(Term(), {})] if model.intercept else []
    for term in model.terms:
        seen = {tuple(row[f] for f in term.factors) for row in rows}
        cells = itertools.product(*(levels[f] for f in term.factors))
        columns += [(term, dict(zip(term.factors, cell))) for cell in cells if cell in seen]
    return columns


def design_row(columns, row, number=Decimal):
    """The non-zero values of a record: (column, value), `number` being their type."""
    values = []
    for k, (term, cell) in enumerate(columns):
        if any(row[f] != level for f, level in cell.items()):
            continue
        value = number(1)
        for name, power in term.covariates.items():
            value *= number(row[name]) ** power
        if value != 0:
            values.append((k, value))
    return tuple(values)


def kept_columns(design, count):
    """Those that do not depend on earlier ones, by elimination in rational numbers."""
    cross = [[Fraction(0)] * count for _ in range(count)]
    for row in set(design):
        exact = [(k, Fraction(value)) for k, value in row]
        for i, x in exact:
            for j, y in exact:
                cross[i][j] += x * y
    kept, _ = rational.sweep(cross, count)
    return kept
