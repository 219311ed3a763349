"""The host that tests the wheel for Windows makes the calls of the package."""

import ast
from pathlib import Path

import pytest
import qvreg
from conftest import ROOT

MODULES = ["_columns", "_design", "_fit", "_library", "_records", "_running"]


def texts_of(module):
    """The texts that a module of the package holds."""
    tree = ast.parse((Path(qvreg.__file__).parent / f"{module}.py").read_text(encoding="utf-8"))
    return {node.value for node in ast.walk(tree) if isinstance(node, ast.Constant) and isinstance(node.value, str)}


@pytest.mark.parametrize("module", MODULES)
def test_every_function_is_called(module):
    exported = set((ROOT / "tests" / "exports" / "exports.txt").read_text(encoding="utf-8").split())
    called = (ROOT / "tests" / "windows" / "wheel_calls.c").read_text(encoding="utf-8")
    functions = {f"qvreg_{text}" for text in texts_of(module)} & exported
    assert functions
    assert [name for name in sorted(functions) if f"{name}," not in called and f"({name})" not in called] == []
