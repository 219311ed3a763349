"""What the formula of a saved model may say: it is run where the model is read, and must do no more than compute."""

from __future__ import annotations

import ast
import builtins
from typing import Any

import numpy as np

NUMPY_NAMES = ("np", "numpy")
# Functions of patsy, and of Python.
_FUNCTIONS = frozenset(("I", "Q", "C", "Treatment", "Poly", "Sum", "Helmert", "Diff", "center", "standardize", "scale",
                        "bs", "cr", "cc", "te", "abs", "bool", "float", "int", "round", "str"))
# What a saved formula finds beside columns and patsy's functions: patsy would find what else Python has, and call it
# where a function is expected, as in C(x, exit).
SAVED_NAMES: dict[str, Any] = {**dict.fromkeys(NUMPY_NAMES, np),
                               **{name: None for name in dir(builtins) if name not in _FUNCTIONS}}
# Those of numpy that are no ufuncs, and its numbers.
_OF_NUMPY = frozenset(("clip", "isin", "nan_to_num", "round", "select", "where", "e", "inf", "nan", "pi"))
# Those of columns.
_OF_COLUMNS = frozenset(("abs", "astype", "between", "cat", "clip", "codes", "day", "dayofweek", "dayofyear", "dt",
                         "endswith", "fillna", "hour", "isin", "isna", "len", "lower", "minute", "month", "notna",
                         "quarter", "round", "startswith", "str", "strip", "upper", "weekday", "year"))
_NODES = (ast.Expression, ast.BinOp, ast.UnaryOp, ast.BoolOp, ast.Compare, ast.Call, ast.keyword, ast.Name, ast.Load,
          ast.Constant, ast.List, ast.Tuple, ast.operator, ast.unaryop, ast.boolop, ast.cmpop, ast.Attribute)


def unsaved_use(code: str) -> str | None:
    """The first thing in an expression that no saved formula may hold, as its text; None without one."""
    return next((ast.unparse(node) for node in ast.walk(ast.parse(code, mode="eval")) if not _may_stand(node)), None)


def _may_stand(node: ast.AST) -> bool:
    if isinstance(node, ast.Call):
        return isinstance(node.func, ast.Attribute) or getattr(node.func, "id", None) in _FUNCTIONS
    if isinstance(node, ast.Attribute):
        return _of_numpy(node.attr) if _is_numpy(node.value) else node.attr in _OF_COLUMNS
    if isinstance(node, ast.BinOp):
        # Numbers alone can be as long as memory: 9**9**9, or 'a' * 10**9.
        return any(isinstance(each, (ast.Name, ast.Call)) for each in ast.walk(node)) or not isinstance(
            node.op, (ast.Pow, ast.LShift, ast.Mult))
    return isinstance(node, _NODES)


def _is_numpy(node: ast.AST) -> bool:
    return isinstance(node, ast.Name) and node.id in NUMPY_NAMES


def _of_numpy(name: str) -> bool:
    return name in _OF_NUMPY or isinstance(getattr(np, name, None), np.ufunc)
