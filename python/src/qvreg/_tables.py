"""Tables with named columns, whole or read in chunks."""

from __future__ import annotations

import os
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from typing import Any

import numpy as np

from ._columns import array_of, is_frame
from .errors import DataError


class Table(Mapping):
    """Data by the names of columns, for patsy: a DataFrame, a dict of arrays or a structured array."""

    def __init__(self, data: Any) -> None:
        self._data = data
        if isinstance(data, Mapping):
            self.names = list(data)
        elif is_frame(data):
            self.names = list(data.columns)
        elif getattr(getattr(data, "dtype", None), "names", None):
            self.names = list(data.dtype.names)
        else:
            raise DataError(f"A formula needs data with named columns, not {_kind(data)}: a DataFrame, a dict "
                            "of arrays or a structured array.")

    def __getitem__(self, name: str) -> Any:
        count = self.names.count(name)
        if count == 0:
            raise KeyError(name)
        if count > 1:
            raise DataError(f"The data have {count} columns named {name!r}. Rename all but one.")
        values = self._data[name]
        if hasattr(values, "dtype"):
            return values if np.ndim(values) else np.atleast_1d(values)
        return array_of(values if isinstance(values, (list, tuple)) else np.atleast_1d(values))

    @property
    def n_rows(self) -> int:
        """How many rows there are."""
        if isinstance(self._data, Mapping):
            return len(np.atleast_1d(next(iter(self._data.values()), ())))
        return len(self._data)

    def rows(self, rows: slice) -> Table:
        """Some of the rows."""
        if isinstance(self._data, Mapping):
            return Table({name: _some(values, rows) for name, values in self._data.items()})
        return Table(_some(self._data, rows))

    def __iter__(self) -> Iterator:
        return iter(self.names)

    def __len__(self) -> int:
        return len(self.names)


def _some(values: Any, rows: slice) -> Any:
    return values.iloc[rows] if hasattr(values, "iloc") else values[rows]


def listed(names: Sequence) -> str:
    return ", ".join(map(repr, names[:8])) + (", …" if len(names) > 8 else "")


def _kind(data: Any) -> str:
    shape = getattr(data, "shape", None)
    return f"{type(data).__name__} of shape {shape}" if shape is not None else type(data).__name__


class Tables:
    """The tables that data come as, once more for every pass."""

    def __init__(self, make: Callable[[], Iterable[Any]], is_whole: bool, rows: str = "chunk") -> None:
        self._make = make
        self.rows = rows
        self.is_whole = is_whole
        self._has_given = False

    @classmethod
    def whole(cls, data: Any) -> Tables:
        """One table that is all of the data."""
        table = Table(data)
        return cls(lambda: [table], is_whole=True)

    @classmethod
    def chunks(cls, read: Any) -> Tables:
        """Tables that `read` gives one by one: a function of an iterable, or one that repeats."""
        if callable(read):
            return cls(read, is_whole=False)
        _refuse_no_chunks(read)
        if isinstance(read, Iterator):
            raise DataError(_ONCE_ONLY)
        return cls(lambda: read, is_whole=False)

    def teach(self, formula: Any, response: Any) -> Any:
        """What the data say of a formula and its response."""
        return formula.study(self, response)

    def records(self, model: Any, weights: Any) -> Any:
        """The records of a fit."""
        return model.records(self, weights)

    def __iter__(self) -> Iterator[Table]:
        made = self._make()
        _refuse_no_chunks(made)
        n_tables = 0
        for data in made:
            yield data if isinstance(data, Table) else Table(data)
            n_tables += 1
        if self._has_given and n_tables == 0:
            raise DataError(_ONCE_ONLY)
        self._has_given = n_tables > 0


_ONCE_ONLY = ("The chunks can be read once only, and a fit reads them several times. Give a function that starts "
              "again, as in fit_chunks(lambda: reader(), …).")


def _refuse_no_chunks(read: Any) -> None:
    """An exception for what is no sequence of tables."""
    if is_frame(read) or isinstance(read, Mapping) or getattr(getattr(read, "dtype", None), "names", None):
        raise DataError("A whole table is no list of chunks: give it to ols, logit or mnlogit, or in a list. "
                        "pandas.read_csv gives chunks with chunksize=.")
    if isinstance(read, (str, bytes, os.PathLike)):
        raise DataError(f"Chunks are needed as a function that returns them, or as a list of them, not {_kind(read)}. "
                        "A file is read by fit_chunks(lambda: pandas.read_csv(path, chunksize=100_000), …).")
    if not isinstance(read, Iterable):
        raise DataError(f"Chunks are needed as a function that returns them, or as a list of them, not "
                        f"{_kind(read)}.")
