"""What to write in a formula instead of what cannot be evaluated."""

from __future__ import annotations

import ast
import difflib
import keyword
from collections.abc import Sequence
from typing import Any

import numpy as np

from ._tables import listed
from .errors import FormulaError


def check_syntax(factor: Any) -> None:
    """An exception unless patsy's `factor` is an expression of Python."""
    try:
        ast.parse(factor.code, mode="eval")
    except SyntaxError:
        pass
    else:
        return
    origin = factor.origin
    text = origin.code[origin.start:origin.end] if origin is not None else factor.code
    if text == ".":
        raise FormulaError("The formula cannot be read: '.' does not stand for all columns. Name them, as "
                           "'y ~ ' + ' + '.join(names) does.")
    raise FormulaError(f"The formula cannot be read: {text!r} is no expression of Python. If it is the name of a "
                       f"column, write Q(\"{text}\").")


def quoting(factor: Any, names: Sequence) -> str:
    """A sentence on a column whose name the formula of `factor` has without Q(); nothing without one."""
    text = factor.origin.code if factor.origin is not None else factor.code
    squeezed = "".join(text.split())
    for name in names:
        if not isinstance(name, str) or (name.isidentifier() and not keyword.iskeyword(name)):
            continue
        bare = "".join(name.split())
        if any(map(str.isalnum, bare)) and bare in squeezed and f'("{bare}")' not in squeezed.replace("'", '"'):
            return f" The data have a column {name!r}: it is written Q(\"{name}\")."
    return ""


def unknown(factor: Any, missing: str, names: Sequence) -> str:
    """A sentence on the name `missing`, which is neither a column nor anything of the caller's."""
    called = {node.func.id for node in ast.walk(ast.parse(factor.code)) if isinstance(node, ast.Call)
              and isinstance(node.func, ast.Name)}
    if missing in called:
        if isinstance(getattr(np, missing, None), np.ufunc):
            return f"There is no function {missing!r}: write np.{missing}(…)."
        return (f"There is no function {missing!r}: there are those of patsy, those of numpy as np.name(…), and what "
                "is defined where the fit is called.")
    hint = quoting(factor, names)
    if hint:
        return f"There is no column {missing!r}, and nothing else of that name.{hint}"
    return f"There is no column {missing!r}, and nothing else of that name{_nearest(missing, names)}."


def _nearest(missing: str, names: Sequence) -> str:
    texts = [name for name in names if isinstance(name, str)]
    near = difflib.get_close_matches(missing, texts, n=1)
    if near:
        return f"; the nearest column is {near[0]!r}"
    if not len(names):
        return "; the data have no columns"
    others = [name for name in names if not isinstance(name, str)]
    rule = f". Names of columns are to be text: {others[0]!r} is not" if others else ""
    return f"; the columns are {listed(names)}{rule}"
