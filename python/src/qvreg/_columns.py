"""Columns as the library reads them: in place wherever their type allows it."""

from __future__ import annotations

import ctypes
from collections.abc import Iterator, Sequence
from contextlib import contextmanager
from ctypes import c_size_t
from dataclasses import dataclass
from typing import Any

import numpy as np

from . import _library as lib
from .errors import DataError

try:
    import pandas as pd
except ImportError:
    pd = None


def start(name: str) -> str:
    """`name` at the start of a sentence."""
    return name[:1].upper() + name[1:]


def is_frame(data: Any) -> bool:
    return pd is not None and isinstance(data, pd.DataFrame)


def is_nullable_number(values: Any) -> bool:
    """Whether `values` are numbers, not truth values, of an extension type of pandas."""
    dtype = getattr(values, "dtype", None)
    return (pd is not None and pd.api.types.is_extension_array_dtype(dtype)
            and pd.api.types.is_numeric_dtype(dtype) and not pd.api.types.is_bool_dtype(dtype))


def one_dimensional(name: str, values: Any) -> np.ndarray:
    """`values` as an array with one dimension, which a single column of two has as well."""
    array = np.asarray(values)
    if array.ndim == 2 and array.shape[1] == 1:
        array = array[:, 0]
    if array.ndim != 1:
        raise DataError(f"{start(name)} has the shape {array.shape}: one dimension, a value per row, is needed.")
    return array


def array_of(values: Any) -> np.ndarray:
    """A list or array of plain values as an array in which those that are missing stay so, as in a DataFrame.

    Of text and others numpy would make text, "nan" of a missing one; with None among them, numbers are objects.
    """
    array = np.asarray(values)
    if array.ndim != 1 or array.dtype.kind not in "USO":
        return array
    if array.dtype.kind != "O" and all(isinstance(value, (str, bytes)) for value in values):
        return array
    if all(value is None or (isinstance(value, (int, float, np.number)) and not isinstance(value, bool))
           for value in values):
        return np.array([np.nan if value is None else value for value in values], np.float64)
    made = np.empty(len(values), object)
    made[:] = values
    return made


@dataclass
class Column:
    """The values of a variable, in their own type.

    Attributes
    ----------
    name : str
        What messages call the values.
    values : numpy.ndarray
        Numbers, NaN being a missing one; or, with a map, whole numbers of which those below 0 are
        missing.
    map : numpy.ndarray, optional
        What stands for the numbers 0, 1, ...; the library's missing value among them.
    """

    name: str
    values: np.ndarray
    map: np.ndarray | None = None

    def __len__(self) -> int:
        return len(self.values)

    def described(self) -> lib.TypedColumn:
        """The column for the library, which reads the arrays in place."""
        shown = lib.TypedColumn(values=self.values.ctypes.data, stride=self.values.strides[0],
                                type=lib.VALUE_TYPES[self.values.dtype.name],
                                name=start(self.name).encode(), nan=lib.AS_MISSING,
                                infinite=lib.REFUSE)
        if self.map is not None:
            shown.map, shown.map_size = self.map.ctypes.data, len(self.map)
        return shown

    def summary(self) -> lib.ColumnSummary:
        """What the library counts in the column; an infinite value is refused."""
        found = lib.ColumnSummary()
        with refused_values([self.name]):
            lib.call("column_summarize", ctypes.byref(self.described()), c_size_t(len(self)),
                     ctypes.byref(found))
        return found

    def rows(self, rows: slice) -> Column:
        """Some of the rows."""
        return Column(self.name, self.values[rows], self.map)

    def numbers(self) -> np.ndarray:
        """What stands in the records as float64, but NaN for a missing value."""
        if self.map is None:
            return self.values.astype(np.float64, copy=False)
        mapped = np.where(self.map == lib.MISSING_VALUE, np.nan, self.map)
        return np.append(mapped, np.nan)[np.maximum(self.values, -1)]


# Times its spread that a column may be away from 0 before it loses digits beside a constant.
FAR_SPREADS = 1000.0


def offsets(lowest: Any, highest: Any, spreads: float = FAR_SPREADS) -> np.ndarray:
    """What to subtract from columns that range from `lowest` to `highest`: 0 of those that are near 0.

    Far from it are more than `spreads` times the spread.
    """
    middle = np.asarray(lowest, np.float64) / 2 + np.asarray(highest, np.float64) / 2
    spread = np.asarray(highest, np.float64) - lowest
    return np.where((spread > 0) & (np.abs(middle) > spreads * spread), middle, 0.0)


@contextmanager
def refused_values(names: Sequence[str]) -> Iterator[None]:
    """Names the column and the row where the library refuses an infinite value in one of the columns `names`."""
    try:
        yield
    except DataError as error:
        if error.code != lib.REFUSED_VALUE or not error.data:  # without data it is named already
            raise
        row, column = error.data[0] - 1, error.data[2]
        raise DataError(f"{start(names[column])} is infinite in row {row} (counted from 0). Replace "
                        "infinite values by NaN to have their rows left out, or by numbers.",
                        error.code) from None


def numbers(name: str, values: Any) -> Column:
    """A column of numbers or truth values, also of pandas' nullable types and masked arrays.

    Arrays of whole and floating-point numbers of the machine's own types are not copied.
    """
    return Column(name, one_dimensional(name, _as_plain_numbers(name, values)))


def _as_plain_numbers(name: str, values: Any) -> np.ndarray:
    if isinstance(values, np.ma.MaskedArray):
        return values.astype(np.float64).filled(np.nan)
    dtype = getattr(values, "dtype", None)
    if pd is not None and pd.api.types.is_extension_array_dtype(dtype):
        if is_nullable_number(values) or pd.api.types.is_bool_dtype(dtype):
            return values.to_numpy(dtype=np.float64, na_value=np.nan)
        raise DataError(f"{start(name)} has the type {dtype}: numbers are needed.")
    array = np.asarray(values)
    if array.dtype.kind == "O":
        shown = repr(array.flat[0]) if array.size else "none"
        raise DataError(f"{start(name)} holds objects (the first is {shown}): numbers are needed. Convert the "
                        "column, as with pandas.to_numeric, or make it categorical.")
    if array.dtype.kind not in "fiub":
        raise DataError(f"{start(name)} has the type {array.dtype}: numbers are needed.")
    if array.dtype.name not in lib.VALUE_TYPES or not array.dtype.isnative:
        return array.astype(np.float64)
    return array


def declared_levels(values: Any) -> tuple | None:
    """The levels that the type of `values` has: a categorical type, or truth values."""
    dtype = getattr(values, "dtype", None)
    if pd is not None and isinstance(dtype, pd.CategoricalDtype):
        return tuple(dtype.categories)
    if np.asarray(values).dtype.kind == "b" or (pd is not None and isinstance(dtype, pd.BooleanDtype)):
        return (False, True)
    return None


def distinct_values(values: Any) -> list:
    """The values that occur, but for missing ones."""
    dtype = getattr(values, "dtype", None)
    if pd is not None and isinstance(dtype, pd.CategoricalDtype):
        numbered = np.unique(_category_codes(values))
        return [dtype.categories[number] for number in numbered if number >= 0]
    array = np.asarray(values)
    if array.dtype.kind in "mM":
        distinct = np.unique(array)
        return list(distinct[~np.isnat(distinct)])
    if array.dtype.kind != "O":
        distinct = np.unique(array)
        return (distinct[~np.isnan(distinct)] if distinct.dtype.kind == "f" else distinct).tolist()
    if pd is not None:
        return pd.unique(array[~pd.isna(array)]).tolist()
    return list(dict.fromkeys(value for value in array if not _is_missing(value)))


def sorted_levels(levels: list) -> tuple:
    """`levels` in order; those of types that have none among them by type."""
    try:
        return tuple(sorted(levels))
    except TypeError:
        return tuple(sorted(levels, key=lambda level: (type(level).__name__, str(level))))


def _is_missing(value: Any) -> bool:
    return value is None or value != value


def codes(name: str, values: Any, levels: tuple, code_of_level: np.ndarray) -> Column:
    """A column of codes: of every value that of its level; a missing value stays missing.

    A value that is no level is refused. Codes of a categorical type are not copied.
    """
    dtype = getattr(values, "dtype", None)
    if pd is not None and isinstance(dtype, pd.CategoricalDtype):
        numbered = _category_codes(values)
        distinct = dtype.categories
        used = None if tuple(distinct) == levels else np.unique(numbered)
    else:
        numbered, distinct = _factorize(one_dimensional(name, values))
        used = None
    places = _places(name, list(distinct), levels, used)
    known = places >= 0
    return Column(name, numbered, np.where(known, code_of_level[places], lib.MISSING_VALUE))


def _category_codes(values: Any) -> np.ndarray:
    return np.asarray(values.cat.codes if hasattr(values, "cat") else values.codes)


def _factorize(array: np.ndarray) -> tuple[np.ndarray, Sequence]:
    """The distinct values of `array`, and the number of each value among them; -1 for missing ones."""
    if pd is not None:
        numbered, distinct = pd.factorize(array)
        return numbered.astype(np.int32), distinct
    seen: dict = {}
    numbered = np.fromiter((-1 if _is_missing(value) else seen.setdefault(value, len(seen))
                            for value in array.tolist()), np.int32, len(array))
    return numbered, list(seen)


def _places(name: str, values: list, levels: tuple, used: np.ndarray | None) -> np.ndarray:
    """Where each of `values` stands among `levels`; -1 for one that is none and not `used`."""
    known = {level: place for place, level in enumerate(levels)}
    places = np.empty(len(values), np.intp)
    for index, value in enumerate(values):
        places[index] = known.get(value, -1)
        if places[index] < 0 and (used is None or index in used):
            raise DataError(f"{start(name)} has the value {value!r}, which is none of its {len(levels)} levels "
                            f"({_some(levels)}).")
    return places


def _some(levels: tuple) -> str:
    shown = ", ".join(repr(level) for level in levels[:5])
    return shown if len(levels) <= 5 else shown + ", …"
