"""Models of the command, whose variables are columns and whose parameters have names of their own."""

from __future__ import annotations

from ctypes import c_size_t
from typing import Any

import numpy as np

from . import _library as lib
from ._columns import Column, codes, distinct_values, is_nullable_number, numbers
from ._design import INTERCEPT, Design, Parameter, Part, Term, Variable
from ._pmml_variables import Reader, SavedTable, SavedVariable, add_table, read_table
from ._tables import Table
from ._xml import Element
from .errors import DataError

_WORDS = {"true": True, "false": False}
_TRUTHS = {**_WORDS, "yes": True, "no": False, "y": True, "n": False, "t": True, "f": False}


class NamedTable:
    """As a `ParameterTable`, with the names that the command has given."""

    def __init__(self, design: NamedDesign, parameters: list[Parameter], kept: np.ndarray) -> None:
        self.design, self.parameters = design, parameters
        self.shown = np.flatnonzero(kept)
        self.names = [parameters[index].name for index in self.shown]
        self._left_out = [parameter.name for parameter, is_kept in zip(parameters, kept) if not is_kept]

    def redundant(self) -> list[str]:
        """Names of columns that the data do not determine."""
        return list(self._left_out)


class NamedDesign(Design):
    """As a `Design`, of variables by their positions in the records, and of terms that the library tells."""

    def __init__(self, variables: list[Variable], labels: list[str], has_intercept: bool) -> None:
        super().__init__(variables, [], has_intercept, has_intercept)
        self._labels = labels

    def parameters(self, results: lib.Handle, kept: np.ndarray) -> NamedTable:
        """The parameters of one equation of `results`."""
        described = lib.make("parameters", "results_get_parameters", results)
        parameters = [self._parameter(described, index) for index in range(len(kept))]
        return NamedTable(self, parameters, kept)

    def _parameter(self, described: lib.Handle, index: int) -> Parameter:
        info = lib.get(lib.ParameterInfo, "parameters_get_info", described, c_size_t(index))
        if info.is_intercept:
            return Parameter(self._labels[index], -1, {}, (index,), False)
        variables, codes, _ = lib.get_arrays((np.int32,) * 3, "parameters_get_factors", described, c_size_t(index))
        numbers, powers = lib.get_arrays((np.int32,) * 2, "parameters_get_covariates", described, c_size_t(index))
        effect = info.effect_index - int(self.has_intercept)
        while len(self.terms) <= effect:
            self.terms.append(Term(()))
        self.terms[effect] = Term(tuple(map(Part, [*variables.tolist(), *np.repeat(numbers, powers).tolist()])))
        # A factor's levels are in the order of their codes.
        return Parameter(self._labels[index], effect, dict(zip(variables.tolist(), codes.tolist())), (index,), False)


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
        return NamedDesign([_variable(self._at(position)) for position in range(self._n_positions())], labels,
                           any(constants))

    def _n_positions(self) -> int:
        return max((variable.position for variable in self.table.predictors), default=-1) + 1

    def _at(self, position: int) -> SavedVariable | None:
        """The predictor at a position of the records, if there is one."""
        return next((variable for variable in self.table.predictors if variable.position == position), None)

    def columns(self, data: Table) -> list[Column]:
        """The variables for the rows of `data`, each where the records have it; 0 where there is none."""
        columns = []
        for position in range(self._n_positions()):
            variable = self._at(position)
            columns.append(Column(f"position {position}", np.broadcast_to(0.0, data.n_rows)) if variable is None
                           else _column(variable, data))
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


def _variable(variable: SavedVariable | None) -> Variable:
    if variable is None:
        return Variable("")
    levels = None if variable.levels is None else tuple(_level(variable, text) for text in variable.levels)
    return Variable(variable.label, levels, len(levels) - 1 if levels else 0)


def _level(variable: SavedVariable, text: str) -> Any:
    """The value that a level's text stands for."""
    if variable.kind == "boolean":
        return _WORDS.get(text.lower(), text)
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
    meant = {value: _meant(variable, value, levels) for value in distinct}
    array = np.asarray(values, dtype=object)
    return np.array([meant.get(value, value) for value in array.tolist()] + [None], dtype=object)[:-1]


def _meant(variable: SavedVariable, value: Any, levels: tuple) -> Any:
    text = str(value)
    if variable.kind == "boolean":
        truth = _TRUTHS.get(text.lower())
        return next((level for level in levels if truth is not None and _TRUTHS.get(str(level).lower()) is truth), text)
    if variable.kind == "number":
        try:
            return float(text)
        except ValueError:
            return text
    return text
