"""Records of a run: columns in memory, or made chunk by chunk."""

from __future__ import annotations

import ctypes
from collections.abc import Callable, Iterator, Sequence
from ctypes import c_size_t
from typing import Any

from . import _library as lib
from ._columns import Column, start
from .errors import DataError

# Rows that are looked at together: few enough for the cache, many enough for numpy.
BLOCK_ROWS = 1 << 16


def blocks(n_rows: int, size: int = BLOCK_ROWS) -> Iterator[slice]:
    """Consecutive slices over `n_rows` rows."""
    return (slice(begin, min(begin + size, n_rows)) for begin in range(0, n_rows, size))


class Records:
    """Columns of equal length, one per variable of a run.

    Attributes
    ----------
    columns : list of Column
        The values.
    n_rows : int
        How many records there are.
    """

    def __init__(self, columns: Sequence[Column], n_rows: int | None = None) -> None:
        self.columns = list(columns)
        self.n_rows = len(self.columns[0]) if n_rows is None else n_rows
        for column in self.columns:
            if len(column) != self.n_rows:
                raise DataError(f"{start(self.columns[0].name)} has {self.n_rows} values, {column.name} has "
                                f"{len(column)}: all need as many.")

    @property
    def names(self) -> list[str]:
        return [column.name for column in self.columns]

    def described(self) -> ctypes.Array:
        """The columns for the library, which reads the arrays in place."""
        return (lib.TypedColumn * len(self.columns))(*[column.described() for column in self.columns])

    def blocks(self, size: int = BLOCK_ROWS) -> Iterator[Records]:
        """Consecutive records, `size` of them at a time."""
        return (Records([column.rows(rows) for column in self.columns], rows.stop - rows.start)
                for rows in blocks(self.n_rows, size))

    def __sizeof__(self) -> int:
        """Bytes of the values: what those ask who hold records of many."""
        return object.__sizeof__(self) + sum(column.values.nbytes for column in self.columns)

    def over_blocks(self, function: Callable[..., Any], _join: Callable[[Any, Any], Any], *arguments: Any) -> Any:
        """What `function` makes of an iterator over `blocks`, and of further `arguments`.

        Of records in parts it is called for each, and `join` makes one of two such results.
        """
        return function(self.blocks(), *arguments)

    def attach(self, settings: lib.Handle, _call: Any, threads: int) -> lib.Handle:
        """Has components of `settings` read the records on so many `threads`; returns the source."""
        if self.n_rows == 0:
            raise DataError("The data have no rows.")
        source = self.part_source()
        lib.call("settings_set_threads", settings, source, threads, lib.c_int64(0))
        return source

    def part_source(self) -> lib.Handle:
        """The records as a source of the library."""
        described = self.described()
        return lib.make("source", "source_create_typed_columns", described, c_size_t(len(described)),
                        c_size_t(self.n_rows), keeps=(self.columns, described))

    def refuse_missing(self, first_row: int = 0) -> None:
        """An exception for the first column with a missing value; `first_row` is the number of the first row."""
        for column in self.columns:
            found = column.summary()
            if found.missing:
                row = first_row + found.first_missing - 1
                raise DataError(f"{start(column.name)} has missing values (the first in row {row}, counted from 0), "
                                "and missing='raise' was asked for. Fill them in, or leave their rows out "
                                "with missing='drop'.")


class ChunkedRecords:
    """Records that are made chunk by chunk, in every pass again.

    Parameters
    ----------
    make : callable
        Starts a pass: gives the records of every chunk.
    names : list of str
        What messages call the columns.

    Attributes
    ----------
    see : callable, optional
        Called with every chunk of the first pass that a source makes.
    """

    def __init__(self, make: Callable[[], Iterator[Records]], names: list[str]) -> None:
        self._make = make
        self.names = names
        self.see: Callable[[Records], None] | None = None

    def blocks(self) -> Iterator[Records]:
        """The records of all chunks, not more than `BLOCK_ROWS` at a time."""
        for chunk in self._make():
            yield from chunk.blocks()

    def refuse_missing(self) -> None:
        """As that of `Records`."""
        first_row = 0
        for chunk in self._make():
            chunk.refuse_missing(first_row)
            first_row += chunk.n_rows

    def over_blocks(self, function: Callable[..., Any], _join: Callable[[Any, Any], Any], *arguments: Any) -> Any:
        """As that of `Records`."""
        return function(self.blocks(), *arguments)

    def attach(self, _settings: lib.Handle, call: Any, _threads: int) -> lib.Handle:
        """The records as a source of the library, which reads them on the thread that waits for `call`."""
        reading = _Reading(self._make, self.see)
        read, restart = call.back(reading.read), call.back(reading.restart)

        def next_block(_user: Any, block: Any) -> int:
            chunk = read()
            if not chunk:
                return lib.NEXT_END if chunk == () else _FAILED
            block.contents.columns, block.contents.n_records = chunk
            return lib.NEXT_RECORD

        def rewind(_user: Any) -> int:
            return 0 if restart() else _FAILED

        callbacks = lib.BlockCallbacks(n_columns=len(self.names), next=lib.NextCallback(next_block),
                                       rewind=lib.RewindCallback(rewind))
        return lib.make("source", "source_create_blocks", ctypes.byref(callbacks), keeps=callbacks)


# What a callback of ours returns where its exception, or an interrupt, has ended the call.
_FAILED = -1


class _Reading:
    """The chunk of a pass that the library reads, and what comes after it."""

    def __init__(self, make: Callable[[], Iterator[Records]], see: Callable[[Records], None] | None) -> None:
        self._make = make
        self._see = see
        self._n_passes = 0
        self._chunks = iter(())
        self._held: Any = None

    def restart(self) -> bool:
        self._chunks = iter(self._make())
        self._n_passes += 1
        return True

    def read(self) -> tuple:
        """The next chunk's columns and number of records; nothing at the end."""
        chunk = next(self._chunks, None)
        if chunk is None:
            return ()
        if self._see is not None and self._n_passes == 1:
            self._see(chunk)
        described = chunk.described()
        self._held = (chunk, described)
        return ctypes.cast(described, ctypes.POINTER(lib.TypedColumn)), chunk.n_rows
