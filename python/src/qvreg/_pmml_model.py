"""The variables of a model with a formula, for PMML: columns, their levels, and columns less their mean."""

from __future__ import annotations

import ast
from typing import Any

import numpy as np

from . import _xml
from ._expressions import Expression
from ._model import Model
from ._number_text import number_text
from ._pmml_variables import SavedColumn, SavedScale, SavedTable, SavedVariable, written_name
from ._saved_formulas import NUMPY_NAMES
from ._saving import plain_levels
from .errors import FormulaError, QvregError

_OFFERED = ("PMML has columns, C(…), Q(…), center(…) and standardize(…) of columns; make a column of the term "
            "before the fit, or save under a name that does not end in .pmml or .xml.")
_STANDARDIZING = ("standardize", "scale")


def table_of(model: Model) -> SavedTable:
    """The columns and variables of `model`, the response at position 0 and predictors from 1 on."""
    table = SavedTable([], [])
    response, *predictors = model.formula.expressions
    table.variables.append(_response(response, model.classes))
    for position, expression in enumerate(predictors, start=1):
        table.variables.append(_predictor(expression, position))
    for name, column in model.weight_columns.items():
        position = getattr(model.layout, name)
        table.variables.append(SavedVariable(column, written_name(column), [column], True, None, "number", position,
                                             is_weight=True))
    for variable in table.variables:
        _add_columns(table, variable)
    table.name_fields()
    _require_xml(table, model)
    return table


def _add_columns(table: SavedTable, variable: SavedVariable) -> None:
    kind, kind_of_number = variable.kind, "DOUBLE"
    if variable.kind == "number" and variable.is_factor and all(map(_is_whole, variable.levels or [])):
        kind_of_number = "BIGINT"
    for name in variable.columns:
        column = SavedColumn(name, kind if variable.is_column else "number",
                             {"number": kind_of_number, "text": "VARCHAR", "boolean": "BOOLEAN"}[kind])
        known = next((known for known in table.columns if known.name == name), None)
        if known is None:
            table.columns.append(column)
        elif known.kind != column.kind:
            raise QvregError(f"The column {name!r} is {known.kind} in one term and {column.kind} in another, which "
                             "PMML cannot have. Make two columns of it before the fit.")
        elif column.type == "DOUBLE":
            known.type = "DOUBLE"


def _is_whole(level: str) -> bool:
    return level.lstrip("-").isdigit()


def _require_xml(table: SavedTable, model: Model) -> None:
    texts = [("The formula", model.formula.text), *(("The column's name", column.name) for column in table.columns)]
    texts += [("The level", level) for variable in table.variables for level in variable.levels or []]
    for what, text in texts:
        if not _xml.is_text(text):
            raise QvregError(f"{what} {text!r} holds a control character, which PMML cannot. Replace it before the "
                             "fit.")


def _response(expression: Expression, classes: tuple | None) -> SavedVariable:
    levels, kind = (None, "number") if classes is None else level_texts(expression.name, classes)
    column = _column(_parsed(expression))
    if column is not None:
        return SavedVariable(expression.name, written_name(column), [column], True, levels, kind, 0)
    columns = _columns_in(_parsed(expression))
    if not columns:
        raise FormulaError(f"The response {expression.name!r} reads no column, as PMML has them.")
    return SavedVariable(expression.name, expression.code, columns, False, levels, kind, 0)


def _predictor(expression: Expression, position: int) -> SavedVariable:
    if len(expression.variables) != 1:
        raise _refusal(expression, "has several columns")
    variable, tree = expression.variables[0], _parsed(expression)
    column = _column(tree)
    if column is not None:
        if not variable.is_factor:
            return SavedVariable(expression.name, written_name(column), [column], True, None, "number", position)
        levels, kind = level_texts(expression.name, tuple(variable.levels[code] for code in variable.level_order))
        return SavedVariable(expression.name, written_name(column), [column], True, levels, kind, position)
    scaled = _argument(tree, ("center", *_STANDARDIZING))
    if scaled is None or variable.is_factor:
        raise _refusal(expression, "is computed")
    return SavedVariable(expression.name, written_name(scaled), [scaled], False, None, "number", position,
                         _scale(expression, tree))


def _refusal(expression: Expression, why: str) -> FormulaError:
    return FormulaError(f"The term {expression.name!r} {why}, and cannot be written as PMML: {_OFFERED}")


def _parsed(expression: Expression) -> Any:
    return ast.parse(expression.code, mode="eval").body


def _column(tree: Any) -> str | None:
    """The column that an expression takes as it is: x, Q("x"), C(x), C(Q("x"), …)."""
    if isinstance(tree, ast.Name):
        return tree.id
    if not isinstance(tree, ast.Call) or not isinstance(tree.func, ast.Name) or not tree.args:
        return None
    first = tree.args[0]
    if tree.func.id == "Q":
        return first.value if isinstance(first, ast.Constant) and isinstance(first.value, str) else None
    return _column(first) if tree.func.id == "C" and not _is_call(first, "C") else None


def _columns_in(tree: Any) -> list[str]:
    """The columns that a computed expression reads."""
    calls = [node for node in ast.walk(tree) if isinstance(node, ast.Call)]
    functions = {id(call.func) for call in calls}
    names = {node.id for node in ast.walk(tree)
             if isinstance(node, ast.Name) and id(node) not in functions and node.id not in NUMPY_NAMES}
    quoted = {_column(call) for call in calls if _is_call(call, "Q")}
    return sorted(name for name in names | quoted if name is not None)


def _is_call(tree: Any, name: str) -> bool:
    return isinstance(tree, ast.Call) and isinstance(tree.func, ast.Name) and tree.func.id == name


def _argument(tree: Any, functions: tuple[str, ...]) -> str | None:
    """The column that is the first argument of one of these functions."""
    if not any(_is_call(tree, name) for name in functions) or not tree.args:
        return None
    return _column(tree.args[0])


def _scale(expression: Expression, tree: Any) -> SavedScale:
    """What patsy's object subtracts and divides by; the latter rounded to a double."""
    transform = expression.transforms()[0]
    if _is_call(tree, "center"):
        return SavedScale(float(np.asarray(transform._sum / transform._count, np.float64).ravel()[0]))
    options = {"center": True, "rescale": True, "ddof": 0}
    options.update(zip(options, (_constant(expression, argument) for argument in tree.args[1:])))
    options.update((keyword.arg, _constant(expression, keyword.value)) for keyword in tree.keywords)
    mean = float(transform.current_mean[0]) if options["center"] else 0.0
    variance = transform.current_M2[0] / (transform.current_n - options["ddof"])
    return SavedScale(mean, float(np.sqrt(variance)) if options["rescale"] else None)


def _constant(expression: Expression, tree: Any) -> Any:
    if not isinstance(tree, ast.Constant):
        raise _refusal(expression, "has an option that is no constant")
    return tree.value


def level_texts(name: str, levels: tuple) -> tuple[list[str], str]:
    """The texts of levels in a table, and what kind of values they are."""
    plain = plain_levels(levels) or []
    kinds = {type(level) for level in plain}
    if kinds <= {str}:
        return plain, "text"
    if kinds == {bool}:
        return ["true" if level else "false" for level in plain], "boolean"
    if kinds <= {int, float}:
        return [str(level) if isinstance(level, int) else _decimal(level) for level in plain], "number"
    raise QvregError(f"The levels of {name!r} are of several types, which no column of a table has. Convert them to "
                     "text before the fit.")


def _decimal(level: float) -> str:
    text = number_text(level)
    return text + ".0" if text.lstrip("-").isdigit() else text
