"""What other engines read of the variables: DataDictionary, TransformationDictionary and MiningSchema."""

from __future__ import annotations

import numpy as np

from ._number_text import number_text
from ._pmml_variables import SavedColumn, SavedTable, SavedVariable
from ._xml import Element

_WORDS_OF_TRUE = {"false": False, "true": True, "no": False, "yes": True, "f": False, "t": True, "n": False, "y": True}


def _is_computed(table: SavedTable, column: SavedColumn) -> bool:
    """Whether a variable reads more of a column than to take its values for levels."""
    return any(column.name in variable.columns and not (variable.is_column and variable.is_factor)
               for variable in table.variables)


def _are_truths(levels: list[str] | None) -> bool:
    return all(level in ("false", "true") for level in levels or [])


def _has_words(table: SavedTable, column: SavedColumn) -> bool:
    """Whether the data write other words than true and false in a column of booleans."""
    return any(variable.is_column and variable.is_factor and variable.columns[0] == column.name
               and not _are_truths(variable.levels) for variable in table.variables)


def _type_of_column(table: SavedTable, column: SavedColumn) -> str:
    if column.kind == "number":
        return "integer" if "INT" in column.type and not _is_computed(table, column) else "double"
    return "boolean" if column.kind == "boolean" and not _has_words(table, column) else "string"


def _type_of(table: SavedTable, variable: SavedVariable) -> str:
    if variable.is_column:
        return _type_of_column(table, table.column(variable.columns[0]))
    if variable.kind == "number":
        return "double"
    return "boolean" if variable.kind == "boolean" and _are_truths(variable.levels) else "string"


def _add_field(parent: Element, element: str, name: str, is_factor: bool, kind: str) -> Element:
    is_categorical = is_factor or kind in ("string", "boolean")
    return parent.add(element, name=name, optype="categorical" if is_categorical else "continuous", dataType=kind)


def _add_levels(added: Element, variable: SavedVariable | None) -> None:
    for level in (variable.levels or []) if variable is not None else []:
        added.add("Value", value=level)


def _derived(table: SavedTable) -> list[SavedVariable]:
    """The variables that another engine makes of columns."""
    return [variable for variable in table.predictors if not variable.takes_column]


def add_fields(pmml: Element, table: SavedTable) -> None:
    """Appends DataDictionary, and TransformationDictionary where there is something to transform."""
    derived = _derived(table)
    dictionary = pmml.add("DataDictionary")
    for column in table.columns:
        taken = next((variable for variable in table.variables if not variable.is_weight and variable.takes_column
                      and variable.field == column.name), None)
        added = _add_field(dictionary, "DataField", column.name, taken is not None and taken.is_factor,
                           _type_of_column(table, column))
        _add_levels(added, taken)
    dependent = table.variables[0]
    if not dependent.takes_column:
        added = _add_field(dictionary, "DataField", dependent.field, dependent.is_factor, _type_of(table, dependent))
        added.add("Extension", extender="qvreg", name="argument" if dependent.scale else "expression",
                  value=dependent.expression)
        _add_levels(added, dependent)
    dictionary.attributes["numberOfFields"] = str(len(dictionary.children))
    if derived:
        transformations = pmml.add("TransformationDictionary")
        for variable in derived:
            _add_derived(transformations, table, variable)


def _add_derived(parent: Element, table: SavedTable, variable: SavedVariable) -> None:
    added = _add_field(parent, "DerivedField", variable.field, variable.is_factor, _type_of(table, variable))
    scale = variable.scale
    if scale is None:
        added.add("FieldRef", field=variable.columns[0])
        _add_levels(added, variable)
        return
    quotient = added if scale.deviation is None else added.add("Apply", function="/")
    difference = quotient.add("Apply", function="-")
    difference.add("FieldRef", field=variable.columns[0])
    _add_constant(difference, np.ldexp(scale.mean, scale.exponent))
    if scale.deviation is not None:
        _add_constant(quotient, np.ldexp(scale.deviation, scale.exponent))
    _add_levels(added, variable)


def _add_constant(parent: Element, value: float) -> None:
    parent.add("Constant", dataType="double").text = number_text(value)


def add_mining_fields(schema: Element, table: SavedTable, freq_weight: str, weight: str) -> None:
    """Appends what of the fields a model reads; weights by their labels."""
    def add(name: str, usage: str) -> None:
        if all(child.get("name") != name for child in schema.children):
            schema.add("MiningField", name=name, usageType=usage)

    add(table.variables[0].field, "target")
    for variable in table.predictors:
        for name in [variable.field] if variable.takes_column else variable.columns:
            add(name, "active")
    for label, usage in ((freq_weight, "frequencyWeight"), (weight, "analysisWeight")):
        found = next((variable for variable in table.variables if variable.is_weight and variable.label == label), None)
        if found is not None:
            add(found.columns[0], usage)
