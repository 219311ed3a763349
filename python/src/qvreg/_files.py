"""Files as tables: the command writes the columns that a formula names as records, which are mapped into memory."""

from __future__ import annotations

import os
import shutil
import tempfile
from collections.abc import Iterator, Mapping
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import numpy as np

from . import _library as lib
from ._columns import pd
from ._command import answered
from ._expressions import Expression
from ._records import blocks
from ._tables import listed
from .errors import DataError, FormulaError

_ONLY_NAMES = "SELECT * FROM data LIMIT 0"
_WHOLE_TYPES = ("TINYINT", "SMALLINT", "INTEGER", "BIGINT", "UTINYINT", "USMALLINT", "UINTEGER", "UBIGINT")
_TRUTHS = ("false", "true")
_RECORDS = "records"


def is_path(data: Any) -> bool:
    """Whether `data` names files."""
    return isinstance(data, (str, os.PathLike))


class _Uses:
    """How a fit uses the columns of a file, in the order in which it names them."""

    def __init__(self, expressions: list[Expression], has_classes: bool, weights: list[str],
                 columns: list[str]) -> None:
        self.names: list[str] = []
        self._as_numbers: set[str] = set()
        self._as_levels: set[str] = set()
        self._computed: set[str] = set()
        for number, expression in enumerate(expressions):
            expression.names_taken(columns)  # refuses what is nothing
            alone, is_boxed = expression.column_alone()
            for name in expression.columns_used(columns):
                self._add(name)
                if name == alone and not is_boxed and not (has_classes and number == 0):
                    self._as_numbers.add(name)
                else:
                    (self._as_levels if name == alone else self._computed).add(name)
        for name in weights:
            if name in columns:
                self._add(name)
                self._as_numbers.add(name)

    def _add(self, name: str) -> None:
        if name not in self.names:
            self.names.append(name)

    def is_factor(self, name: str) -> bool:
        """Whether nothing but levels of the column is wanted."""
        return not self.is_computed(name) and name not in self._as_numbers

    def is_computed(self, name: str) -> bool:
        """Whether something is made of the values of the column."""
        return name in self._computed

    def needs_type(self, name: str) -> bool:
        """Whether it shows that values are whole numbers or truth values."""
        return self.is_computed(name) or name in self._as_levels


@contextmanager
def opened(path: Any, expressions: list[Expression], has_classes: bool, weights: list[str],
           threads: int | None) -> Iterator[Mapping[str, Any]]:
    """The columns of a file by their names, in memory that is mapped to temporary files.

    Numbers are read in place; factors are categorical, their codes mapped as well.

    Parameters
    ----------
    path : str or path-like
        What the command is to read.
    expressions : list of Expression
        Those of the formula, the response first.
    has_classes : bool
        Whether the response is one of classes.
    weights : list of str
        Columns of weights.
    threads : int, optional
        On how many threads to read.
    """
    if pd is None:
        raise DataError("Files need pandas, for the levels of factors: install it (pip install pandas).")
    source = ["--data", os.fspath(path)]
    found = answered(["describe", *source, "--sql", _ONLY_NAMES, "--json", "-"])
    kinds = {column["name"]: column["kind"] for column in found["columns"]}
    uses = _Uses(expressions, has_classes, weights, list(kinds))
    if not uses.names:
        raise FormulaError(f"The formula names no column of the file. Its columns are {listed(list(kinds))}.")
    for name in uses.names:
        if kinds[name] in ("date_time", "other"):
            raise DataError(f"The column {name!r} holds neither numbers nor text nor truth values: make a column of it "
                            "that does, or read the file with pandas.")
    terms = [_term(name, uses.is_factor(name) or kinds[name] != "number") for name in uses.names]
    folder = Path(tempfile.mkdtemp(prefix="qvreg-"))
    try:
        description = folder / "description.json"
        arguments = ["--formula", f"{terms[0]} ~ {' + '.join(terms[1:]) or '1'}", "--out", str(folder / _RECORDS),
                     "--json", str(description), "--spool-dir", str(folder), "--quiet"]
        spooled = answered(["spool", *source, *arguments, *(["--threads", str(threads)] if threads else [])],
                           description)
        yield _Spooled(folder, spooled, uses).columns()
    finally:
        shutil.rmtree(folder, ignore_errors=True)  # what is still mapped is gone with the process


def _term(name: str, is_factor: bool) -> str:
    """A column as a term of the command's formula."""
    quoted = "`" + name.replace("`", "``") + "`"
    return f"C({quoted})" if is_factor else quoted


class _Spooled:
    """Records that the command wrote into a folder."""

    def __init__(self, folder: Path, description: dict, uses: _Uses) -> None:
        self._folder, self._described, self._uses = folder, description["columns"], uses
        shape = description["records"], description["record_size"]
        if not shape[0]:
            raise DataError("The data have no rows.")
        self._records = np.memmap(folder / _RECORDS, np.float64, "r+", shape=shape)

    def columns(self) -> dict[str, Any]:
        """All columns by their names."""
        return {column["name"]: self._column(position, column) for position, column in enumerate(self._described)}

    def _column(self, position: int, column: dict) -> Any:
        values = self._records[:, position].view(np.ndarray)
        is_whole = column["type"] in _WHOLE_TYPES and not column["missing"]
        needs_type = self._uses.needs_type(column["name"])
        if column["levels"] is None:
            if column["missing"]:
                _set_missing(values)
            return self._mapped(position, values, np.int64) if is_whole and needs_type else values
        by_code = _as_levels(column, is_whole)
        are_truths = any(isinstance(level, bool) for level in by_code)
        levels = [False, True] if are_truths else by_code
        places = np.array([levels.index(level) for level in by_code], np.intp) if are_truths else None
        if are_truths and self._uses.is_computed(column["name"]) and not column["missing"]:
            return self._mapped(position, values, np.bool_, places)
        codes = self._mapped(position, values, _code_type(len(levels)), places)
        return pd.Categorical.from_codes(codes, categories=levels)

    def _mapped(self, position: int, values: np.ndarray, kind: Any, places: np.ndarray | None = None) -> np.ndarray:
        """`values` as another type, in a file of their own; with `places` what stands there, -1 for those below 0."""
        made = np.memmap(self._folder / f"column{position}", kind, "w+", shape=values.shape)
        for rows in blocks(len(values)):
            block = values[rows]
            made[rows] = block if places is None else np.append(places, -1)[block.astype(np.intp)]
        return made.view(np.ndarray)


def _set_missing(values: np.ndarray) -> None:
    """Puts NaN where the records have the library's missing value."""
    for rows in blocks(len(values)):
        block = values[rows]
        block[block == lib.MISSING_VALUE] = np.nan


def _as_levels(column: dict, is_whole: bool) -> list:
    """The levels of a column as Python has them, by their codes in the records."""
    texts = column["levels"]
    if column["kind"] == "number":
        return [int(text) if is_whole else float(text) for text in texts]
    are_truths = column["kind"] == "boolean" and all(text.lower() in _TRUTHS for text in texts)
    return [text.lower() == "true" for text in texts] if are_truths else texts


def _code_type(n_levels: int) -> type:
    """The type that pandas has for so many categories, which it does not copy then."""
    return next(kind for kind in (np.int8, np.int16, np.int32) if n_levels <= np.iinfo(kind).max)
