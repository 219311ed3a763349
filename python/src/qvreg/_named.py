"""Models of the command, whose variables are columns and whose parameters have names of their own."""

from __future__ import annotations

from typing import Any

import numpy as np

from . import _library as lib
from ._columns import Column, codes, distinct_values, is_nullable_number, numbers
from ._design import INTERCEPT, Parameter, Variable
from ._pmml_variables import Reader, SavedTable, SavedVariable, add_table, read_table
from ._tables import Table
from ._xml import Element
from .errors import DataError

_TRUTHS = {"true": True, "false": False}


class NamedTable:
    """As a `ParameterTable`, with the names that the command has given."""

    def __init__(self, labels: list[str], is_intercept: list[bool], kept: np.ndarray) -> None:
        self.parameters = [Parameter(label, -1 if constant else 0, {}, (index,), False)
                           for index, (label, constant) in enumerate(zip(labels, is_intercept))]
        self.shown = np.flatnonzero(kept)
        self.names = [labels[index] for index in self.shown]
        self._left_out = [label for label, is_kept in zip(labels, kept) if not is_kept]

    def redundant(self) -> list[str]:
        """Names of columns that the data do not determine."""
        return list(self._left_out)


class NamedDesign:
    """As a `Design`, of variables that stand anywhere in the records."""

    def __init__(self, variables: list[Variable], labels: list[str], is_intercept: list[bool]) -> None:
        self.variables = variables
        self.has_intercept = self.spans_constant = any(is_intercept)
        self._labels, self._is_intercept = labels, is_intercept

    def parameters(self, _results: lib.Handle, kept: np.ndarray) -> NamedTable:
        """The parameters of one equation."""
        return NamedTable(self._labels, self._is_intercept, kept)


class NamedFormula:
    """As a `Formula`, of what the command has saved.

    Attributes
    ----------
    table : SavedTable
        The columns and variables.
    described : dict
        The JSON of the fit.
    """

    def __init__(self, table: SavedTable, described: dict) -> None:
        self.table, self.described = table, described
        self.text, self.response = described["formula"], table.variables[0].label
        self.classes = None
        self.observed: list[Any] = []
        if table.variables[0].is_factor:
            self.classes = tuple(_level(table.variables[0], text) for text in table.variables[0].levels or [])
            self.observed = [level["level"] for level in described["dependent_levels"]]
        self.design = self._design()

    def _design(self) -> NamedDesign:
        first = self.described["parameters"][0].get("category")
        parameters = [each for each in self.described["parameters"] if each.get("category") == first]
        constants = [not each["levels"] and not each["covariates"] for each in parameters]
        labels = [INTERCEPT if constant else each["label"] for each, constant in zip(parameters, constants)]
        return NamedDesign([_variable(variable) for variable in self.table.predictors], labels, constants)

    def columns(self, data: Table) -> list[Column]:
        """The variables for the rows of `data`, each where the records have it; 0 where there is none."""
        last = max((variable.position for variable in self.table.predictors), default=-1)
        columns = []
        for position in range(last + 1):
            variable = self.table.at(position) if position else None
            if variable is None or variable.is_weight:
                columns.append(Column(f"position {position}", np.broadcast_to(0.0, data.n_rows)))
            else:
                columns.append(_column(variable, data))
        return columns

    def to_dict(self) -> dict:
        """What there is to know, for JSON."""
        element = Element("")
        add_table(element, self.table)
        fit = {key: value for key, value in self.described.items() if key and key != "python"}
        return {"table": _plain(element), "fit": fit}

    @classmethod
    def from_dict(cls, described: dict) -> NamedFormula:
        """What `to_dict` has made `described` of."""
        return cls(read_table(Reader(_element(described["table"]).children)), described["fit"])


def _plain(element: Element) -> list:
    return [element.name, element.attributes, [_plain(child) for child in element.children]]


def _element(plain: list) -> Element:
    return Element(plain[0], plain[1], [_element(child) for child in plain[2]])


def _variable(variable: SavedVariable) -> Variable:
    levels = None if variable.levels is None else tuple(_level(variable, text) for text in variable.levels)
    return Variable(variable.label, levels, len(levels) - 1 if levels else 0)


def _level(variable: SavedVariable, text: str) -> Any:
    """The value that a level's text stands for."""
    if variable.kind == "boolean":
        return _TRUTHS.get(text, text)
    if variable.kind != "number":
        return text
    try:
        return int(text)
    except ValueError:
        return float(text)


def _column(variable: SavedVariable, data: Table) -> Column:
    name = variable.columns[0]
    if name not in data.names:
        raise DataError(f"The data have no column {name!r}, which the model needs for {variable.label!r}. Its columns "
                        f"are {', '.join(map(repr, data.names[:8]))}.")
    said = f"the column {name!r}"
    if not variable.is_factor:
        return _scaled(variable, numbers(said, data[name]))
    levels = _variable(variable).levels
    places = np.arange(len(levels), dtype=float)
    return codes(said, _as_levels(variable, data[name], levels), levels, places)


def _scaled(variable: SavedVariable, column: Column) -> Column:
    scale = variable.scale
    if scale is None:
        return column
    values = np.ldexp(column.numbers(), -scale.exponent) - scale.mean
    values = np.ldexp(values, scale.exponent) if scale.deviation is None else values / scale.deviation
    return Column(column.name, values)


def _as_levels(variable: SavedVariable, values: Any, levels: tuple) -> Any:
    """Values of another type than the levels have: the same number, truth or text is meant however it is written."""
    if is_nullable_number(values):
        values = values.to_numpy(np.float64, na_value=np.nan)
    known = set(levels)
    distinct = distinct_values(values)
    if all(value in known for value in distinct):
        return values
    meant = {value: _meant(variable, value) for value in distinct}
    array = np.asarray(values, dtype=object)
    return np.array([meant.get(value, value) for value in array.tolist()] + [None], dtype=object)[:-1]


def _meant(variable: SavedVariable, value: Any) -> Any:
    text = str(value)
    if variable.kind == "boolean":
        return _TRUTHS.get(text.lower(), text)
    if variable.kind == "number":
        try:
            return float(text)
        except ValueError:
            return text
    return text
