"""Checks of data that could be used, but would give something else than what was meant."""

from __future__ import annotations

from collections.abc import Iterable, Iterator
from typing import Any

import numpy as np

from . import _library as lib
from ._columns import Column, is_nullable_number, offsets, pd, start
from ._expressions import Expression, Levels, unboxed
from ._fit import Fit
from ._records import ChunkedRecords, Records
from ._tables import Table
from .errors import DataError, FormulaError, QvregError

# Rows of a chunk in which the terms are evaluated twice.
_CHECKED_ROWS = 1000
# A response of more classes with fewer rows to each than this is taken for a number.
_MOST_SPARSE_CLASSES, _LEAST_ROWS_PER_CLASS = 10, 2
_MOST_CLASSES_OF_FRACTIONS = 100
# Times its spread that a column which a fit has left out is away from 0, if that is why.
_LOST_SPREADS = 1e5


def refuse_other_rows(expression: Expression, table: Table, rows: str = "chunk") -> None:
    """An exception where `expression` gives a row another value among other rows of its chunk, or what `rows` says."""
    n_rows = min(table.n_rows, _CHECKED_ROWS)
    if n_rows < 2:
        return
    whole = np.asarray(unboxed(expression.values(table.rows(slice(n_rows)))))
    if whole.ndim == 0:
        return
    hint = "; center(x) and standardize(x) are those of all chunks" if rows == "chunk" else ""
    halves = slice(n_rows // 2), slice(n_rows // 2, n_rows)
    try:
        parts = [np.asarray(unboxed(expression.values(table.rows(half)))) for half in halves]
        are_same = _are_same(whole, np.concatenate(parts))
    except (QvregError, ValueError):
        are_same = False
    if not are_same:
        raise FormulaError(f"The term {expression.name!r} takes its values from other rows, too, and a {rows} has "
                           f"only some of them. Make a column of it before the fit{hint}.")


def _are_same(some: np.ndarray, others: np.ndarray) -> bool:
    if some.shape != others.shape:
        return False
    if some.dtype.kind in "fiub" and others.dtype.kind in "fiub":
        return bool(np.allclose(some, others, rtol=1e-9, atol=0.0, equal_nan=True))
    pairs = zip(some.ravel().tolist(), others.ravel().tolist())
    return all(a is b or a == b or (a != a and b != b) for a, b in pairs)


def refuse_other_indexes(named: Iterable[tuple[str, Any]]) -> None:
    """An exception where values have indexes that differ: (name, values) of every expression."""
    if pd is None:
        return
    first = None
    for name, values in named:
        index = getattr(values, "index", None)
        if not isinstance(index, pd.Index):
            continue
        if first is None:
            first = name, index
        elif index is not first[1] and not index.equals(first[1]):
            raise DataError(f"{start(name)} and {first[0]} have indexes that differ, so that it is not clear which "
                            "values make a row. Put them into one DataFrame, or take .to_numpy() of them to go by "
                            "their order.")


class Response:
    """The left side of a formula, as the tables show it.

    Attributes
    ----------
    name : str
        What messages call it.
    n_rows : int
        How many rows were seen.
    """

    def __init__(self, name: str, has_classes: bool) -> None:
        self.name = name
        self.n_rows = 0
        self._levels = Levels(name, must_occur=True) if has_classes else None

    def see(self, values: Any) -> None:
        """Takes the values of a table."""
        if self._levels is None:
            if hasattr(values, "contrast"):
                raise FormulaError(f"{self.name} is a category, and ols takes a number: for classes, use logit or "
                                   "mnlogit.")
            return
        plain = unboxed(values)
        if np.ndim(plain) > 1 and np.shape(plain)[1] > 1:
            raise DataError(f"{self.name} has {np.shape(plain)[1]} columns. Counts of events and others are no "
                            "response: give a row for each class, and their numbers as freq_weights=.")
        self._refuse_infinite(plain)
        self._levels.see(plain)
        self.n_rows += len(plain)

    def join(self, other: Response) -> None:
        """Takes what `other` has seen of further tables."""
        if self._levels is not None:
            self._levels.join(other._levels)
        self.n_rows += other.n_rows

    def _refuse_infinite(self, values: Any) -> None:
        array = values.to_numpy(np.float64, na_value=0.0) if is_nullable_number(values) else np.asarray(values)
        if array.dtype.kind != "f" or not np.isinf(array).any():
            return
        row = self.n_rows + int(np.isinf(array).ravel().argmax())
        raise DataError(f"{self.name} is infinite in row {row} (counted from 0). Replace infinite values by NaN to "
                        "have their rows left out, or by numbers.")

    def classes(self, is_binary: bool) -> tuple | None:
        """The classes, None of numbers; an exception where a model of classes cannot have them."""
        if self._levels is None:
            return None
        classes = self._levels.all()
        if len(classes) < 2:
            only = f"one class only ({classes[0]!r})" if classes else "no class"
            raise DataError(f"{self.name} has {only}: two are needed.")
        if self._is_continuous(classes):
            raise DataError(f"{self.name} has {len(classes)} classes in {self.n_rows} rows. For a number, use ols; for "
                            "classes, have fewer of them.")
        if is_binary and len(classes) > 2:
            raise DataError(f"{self.name} has {len(classes)} classes, and logit takes two: use mnlogit.")
        return classes

    def _is_continuous(self, classes: tuple) -> bool:
        if len(classes) > _MOST_SPARSE_CLASSES and len(classes) * _LEAST_ROWS_PER_CLASS > self.n_rows:
            return True
        return len(classes) > _MOST_CLASSES_OF_FRACTIONS and any(
            isinstance(level, float) and not level.is_integer() for level in classes)


def lost_columns(fit: Fit, records: Records | ChunkedRecords) -> Iterator[str]:
    """Sentences on numbers that were left out of `fit` since they hardly vary beside their distance from 0."""
    if not fit.design.spans_constant:
        return
    lost = {piece for name in fit.table.redundant() for piece in name.split(":")}
    for position, variable in enumerate(fit.design.variables):
        if variable.is_factor or variable.name not in lost:
            continue
        lowest, highest = _range(records, position)
        # Whole numbers may differ where doubles of them do not.
        are_one_double = lowest != highest and float(lowest) == float(highest)
        if are_one_double or offsets(float(lowest), float(highest), _LOST_SPREADS) != 0.0:
            yield (f"The term {variable.name!r} was left out: its values, from {_shown(lowest)} to {_shown(highest)}, "
                   "vary too little beside their size to be told from a constant. Subtract a number near them before "
                   "the fit.")


def _shown(number: float) -> str:
    return str(number) if isinstance(number, int) else f"{number:.17g}"


def lost_bases(fit: Fit) -> Iterator[str]:
    """Sentences on factors without a used row of their base level, in whose place another one is."""
    design = fit.design
    compared = {part.variable for term in design.terms for part in design.factors_of(term) if not part.is_full}
    for position in sorted(compared):
        variable = design.variables[position]
        occurring = {parameter.levels[position] for parameter in fit.table.parameters if position in parameter.levels}
        if not occurring or variable.base in occurring:
            continue
        lost = variable.levels[variable.base]
        taken = variable.levels[[level for level in variable.level_order if level in occurring][-1]]
        yield (f"The base level {lost!r} of the factor {variable.name!r} has no row that can be used: the level "
               f"{taken!r} has taken its place, and the others are compared with it. base={{{variable.name!r}: …}} "
               "chooses one that has rows.")


def _range(records: Records | ChunkedRecords, position: int) -> tuple[float, float]:
    lowest, highest = records.over_blocks(_range_of, _joint_range, position)
    return (lowest, highest) if lowest <= highest else (0.0, 0.0)


def _range_of(blocks: Iterator[Records], position: int) -> tuple[float, float]:
    """The lowest and the highest number of a column, whole ones as int; the first above the second without any."""
    found = [limits for block in blocks if (limits := _limits(block.columns[position])) is not None]
    return (min((lowest for lowest, _ in found), default=np.inf),
            max((highest for _, highest in found), default=-np.inf))


def _limits(column: Column) -> tuple[float, float] | None:
    if column.values.dtype.kind in "iu" and column.map is None and len(column):
        return int(column.values.min()), int(column.values.max())
    summary = column.summary()
    return None if summary.lowest == lib.MISSING_VALUE else (summary.lowest, summary.highest)


def _joint_range(first: tuple[float, float], second: tuple[float, float]) -> tuple[float, float]:
    return min(first[0], second[0]), max(first[1], second[1])
