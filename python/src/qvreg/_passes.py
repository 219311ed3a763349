"""Passes over records that lie in parts, wherever these are: requests, answers and merges as bytes.

A component that is given a runner reads no records. For every pass it makes a request; each part answers it by
`answer`, and `merge` joins the answers along the one tree of `along_tree`. Results depend on the division into
parts alone, to the last bit.
"""

from __future__ import annotations

import ctypes
from collections.abc import Callable, Iterator, Sequence
from ctypes import c_size_t, c_void_p
from pathlib import Path
from typing import Any, Protocol

from . import _library as lib
from ._columns import refused_values
from ._records import Records


class Part(Protocol):
    """Records that one pass reads: `Records`, or a `RecordFile`."""

    names: list[str]

    def part_source(self) -> lib.Handle:
        """The records as a source of the library; there may be none."""


class RecordFile:
    """A record file: rows of `record_size` doubles, one after the other.

    Parameters
    ----------
    path : str or Path
        The file, as the machine that reads it knows it.
    record_size : int
        How many values a record has.
    names : sequence of str
        What messages call them.
    """

    def __init__(self, path: str | Path, record_size: int, names: Sequence[str] = ()) -> None:
        self.path, self.record_size = str(path), record_size
        self.names = list(names) or [f"value {position}" for position in range(record_size)]

    def part_source(self) -> lib.Handle:
        """The records as a source of the library."""
        return lib.make("source", "source_open_file", self.path.encode(), c_size_t(self.record_size))


def answer(request: bytes, number: int, part: Part) -> bytes:
    """The answer of part `number` to `request`."""
    source = part.part_source()
    worker = lib.make("worker", "worker_create")
    with refused_values(part.names):
        return lib.get_bytes("worker_run", worker, lib.make_bytes(request), number, source)


def merge(request: bytes, first: bytes, second: bytes) -> bytes:
    """The answer of the parts of `first` and of those of `second`, which follow them."""
    worker = lib.make("worker", "worker_create")
    return lib.get_bytes("worker_merge", worker, *map(lib.make_bytes, (request, first, second)))


def along_tree(parts: Sequence[Any], join: Callable[[Any, Any, int, int], Any]) -> Any:
    """Joins neighbours, then the pairs, and so on; one without a neighbour stays as it is.

    `join` is also told the level, from 1 on, and the number of the pair.
    """
    level = 0
    while len(parts) > 1:
        level += 1
        parts = [join(*parts[first:first + 2], level, first // 2) if first + 1 < len(parts) else parts[first]
                 for first in range(0, len(parts), 2)]
    return parts[0]


class PartedRecords:
    """Records in parts: what a fit needs of them.

    Attributes
    ----------
    names : list of str
        What messages call the columns.
    """

    names: list[str]

    def run_pass(self, request: bytes) -> bytes:
        """The merged answer of all parts."""
        raise NotImplementedError

    def attach(self, settings: lib.Handle, call: Any, _threads: int) -> None:
        """Has components of `settings` make their passes here, on the thread that waits for `call`."""
        run = call.back(self.run_pass)

        def answered(_user: Any, request: int, place: Any) -> int:
            made = run(lib.bytes_of(c_void_p(request)))
            if made is None:  # its exception, or an interrupt, has ended the call
                return 1
            pointer = c_void_p()
            lib.call("bytes_create", made, c_size_t(len(made)), ctypes.byref(pointer))
            place[0] = pointer.value
            return 0

        callback = lib.RunnerCallback(answered)
        lib.call("settings_set_runner", settings, callback, None)
        settings.keeps = callback


class PartsHere(PartedRecords):
    """Parts of this process, one after the other.

    Parameters
    ----------
    parts : sequence of Part
        Records of the same columns.
    """

    def __init__(self, parts: Sequence[Part]) -> None:
        self.parts = list(parts)
        self.names = self.parts[0].names

    def run_pass(self, request: bytes) -> bytes:
        """The merged answer of all parts."""
        answers = [answer(request, number, part) for number, part in enumerate(self.parts)]
        return along_tree(answers, lambda first, second, *_: merge(request, first, second))

    def blocks(self) -> Iterator[Records]:
        """The records of parts in memory, not more than `BLOCK_ROWS` at a time."""
        for part in self.parts:
            yield from part.blocks()

    def over_blocks(self, function: Callable[..., Any], _join: Callable[[Any, Any], Any], *arguments: Any) -> Any:
        """As that of `Records`."""
        return function(self.blocks(), *arguments)
