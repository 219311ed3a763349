"""Partitions of a Dask DataFrame, and records that stay on the workers of a cluster."""

from __future__ import annotations

import logging
import time
from collections.abc import Callable, Iterator, Sequence
from copy import deepcopy
from dataclasses import dataclass, field
from functools import wraps
from typing import Any

from . import _passes
from ._checks import Response
from ._dask_cluster import Tasks, opened
from ._design import Variable
from ._expressions import patsy_module
from ._fit import Layout
from ._formula import Formula, Lesson
from ._model import Model, Weights
from ._passes import PartedRecords
from ._records import Records
from ._tables import Table, Tables
from .errors import DataError, QvregError

# What the first passes of either model learn, which the names of their tasks tell; all others are for estimates.
_KINDS = {1: "tables", 2: "products"}
_log = logging.getLogger("qvreg.dask")


def of_part(function: Callable[..., Any]) -> Callable[..., Any]:
    """A task of one part, whose exceptions tell its number."""

    @wraps(function)
    def run(number: int, *arguments: Any) -> Any:
        try:
            return function(number, *arguments)
        except QvregError as error:
            raise type(error)(f"Partition {number}: {error}", error.code) from None

    return run


@of_part
def _answer(number: int, part: Any, request: bytes) -> bytes:
    return _passes.answer(request, number, part)


def _merge(first: bytes, second: bytes, request: bytes) -> bytes:
    return _passes.merge(request, first, second)


@of_part
def _over_blocks(_number: int, part: Records, function: Callable[..., Any], arguments: bytes) -> Any:
    return function(part.blocks(), *opened(arguments))


def _join(first: Any, second: Any, join: Callable[[Any, Any], Any]) -> Any:
    return join(first, second)


@dataclass(frozen=True)
class Pass:
    """What a pass has cost: sizes in bytes of the request and of the answer that came back, and seconds."""

    number: int
    request_bytes: int
    answer_bytes: int
    seconds: float


class ClusterRecords(PartedRecords):
    """Records in parts that stay where they are: requests travel there, merged answers back.

    Parameters
    ----------
    tasks : Tasks
        The fit on its cluster.
    parts : sequence
        For each part a `_passes.Part`, such as a `_passes.RecordFile` that the workers can open; or a future or
        delayed value of one.
    names : sequence of str
        What messages call the columns.

    Attributes
    ----------
    passes : list of Pass
        What the passes so far have cost.
    """

    def __init__(self, tasks: Tasks, parts: Sequence[Any], names: Sequence[str]) -> None:
        self._tasks = tasks
        self._parts = list(parts)
        self.names = list(names)
        self.passes: list[Pass] = []
        self._sums = 0

    def run_pass(self, request: bytes) -> bytes:
        """The merged answer of all parts."""
        begin, number = time.monotonic(), len(self.passes) + 1
        kind = f"{_KINDS.get(number, 'estimates')}-pass-{number}"
        asked = self._tasks.data(request, kind, "request")
        answers = self._tasks.each(kind, _answer, self._parts, asked)
        merged = self._tasks.result(self._tasks.joined(kind, _merge, answers, asked), self._futures())
        made = Pass(number, len(request), len(merged), time.monotonic() - begin)
        self.passes.append(made)
        _log.info("pass %d over %d parts: a request of %d bytes, an answer of %d, %.3f seconds", number,
                  len(self._parts), made.request_bytes, made.answer_bytes, made.seconds)
        return merged

    def over_blocks(self, function: Callable[..., Any], join: Callable[[Any, Any], Any], *arguments: Any) -> Any:
        """As that of `Records`: `function` runs on the workers."""
        self._sums += 1
        kind = f"sums-{self._sums}"
        # A fit belongs to one thread at a time: each task opens its own.
        sent = self._tasks.value(arguments, kind, "arguments")
        sums = self._tasks.each(kind, _over_blocks, self._parts, function, sent)
        return self._tasks.result(self._tasks.joined(kind, _join, sums, join), self._futures())

    def refuse_missing(self) -> None:
        """As that of `Records`."""
        checks = self._tasks.each("check", _refuse_missing, self._parts)
        self._tasks.result(self._tasks.joined("check", _nothing, checks), self._futures())

    def _futures(self) -> list:
        return [part for part in self._parts if hasattr(part, "status")]


@of_part
def _refuse_missing(_number: int, part: Records) -> None:
    part.refuse_missing()


def _nothing(_first: Any, _second: Any) -> None:
    return None


@dataclass(frozen=True)
class _Plan:
    """A model as workers need it: patsy's objects do not travel."""

    kind: str
    text: str
    names: dict[str, Any]
    weights: Weights
    variables: list[list[Variable]] = field(default_factory=list)
    states: list[dict] = field(default_factory=list)
    classes: tuple | None = None
    layout: Layout | None = None

    def formula(self) -> Formula:
        """The formula, not learned yet."""
        return Formula(self.text, patsy_module().EvalEnvironment([self.names]))

    def model(self) -> Model:
        """The model as it was learned."""
        formula = self.formula()
        formula.take(self.variables, self.states)
        return Model(self.kind, formula, self.classes, self.layout)


@of_part
def _table(_number: int, partition: Any) -> Any:
    return partition


@of_part
def _study(_number: int, table: Any, plan: bytes, response: Response) -> Lesson:
    return opened(plan).formula().study(Tables(lambda: [table], is_whole=False, rows="partition"), response)


def _join_lessons(first: Lesson, second: Lesson) -> Lesson:
    # Results of tasks stay as they are: one may be joined again after a worker was lost.
    return deepcopy(first).join(second)


@of_part
def _records(_number: int, table: Any, plan: bytes) -> Records:
    made: _Plan = opened(plan)
    return made.model().part(Table(table), made.weights)


class Partitions:
    """The data of a fit: a Dask DataFrame, whose partitions are the parts.

    While a fit runs the workers hold the columns that it needs, as records, and make those of a worker that is lost
    from the DataFrame again.
    """

    is_whole = False

    def __init__(self, frame: Any, tasks: Tasks, weights: Weights) -> None:
        if not hasattr(frame, "to_delayed") or not hasattr(frame, "columns"):
            raise DataError(f"A Dask DataFrame is needed, not {type(frame).__name__}. dask.dataframe.from_pandas makes "
                            "one of a DataFrame; qvreg.ols and its like take that as it is.")
        weights.check_columns("partitions")
        self._frame, self._tasks, self._weights = frame, tasks, weights
        self._names: dict[str, Any] = {}
        self._tables: list = []

    def teach(self, formula: Formula, response: Response) -> Lesson:
        """What the partitions say of a formula and its response."""
        formula.refuse_state("which the workers of a cluster do not share")
        columns = list(self._frame.columns)
        self._names = formula.names_taken(columns)
        used = {*formula.columns_used(columns), *self._weight_columns(columns)}
        frame = self._frame[[column for column in columns if column in used]]
        self._tables = self._tasks.hold(self._tasks.each("columns", _table, frame.to_delayed()))
        plan = self._tasks.value(_Plan("", formula.text, self._names, self._weights), "levels", "formula")
        lessons = self._tasks.each("levels", _study, self._tables, plan, response)
        return self._tasks.result(self._tasks.joined("levels", _join_lessons, lessons), self._tables)

    def records(self, model: Model, weights: Weights) -> ClusterRecords:
        """The records of a fit, on the workers."""
        formula = model.formula
        plan = _Plan(model.kind, formula.text, self._names, weights, formula.learned(), formula.states(),
                     model.classes, model.layout)
        sent = self._tasks.value(plan, "records", "model")
        parts = self._tasks.hold(self._tasks.each("records", _records, self._tables, sent))
        self._tasks.release(self._tables)
        return ClusterRecords(self._tasks, parts, model.record_names(weights))

    def _weight_columns(self, columns: list) -> Iterator[str]:
        for name in self._weights.names():
            column = getattr(self._weights, name)
            if column not in columns:
                raise DataError(f"{name}={column!r} names no column of the data.")
            yield column
