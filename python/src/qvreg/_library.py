"""The C interface of the library for ctypes: the only place that knows its functions; `_structures` has the rest.

Its header, ``qvreg_c.h``, says what each function and member means.
"""

from __future__ import annotations

import ctypes
import os
import sys
from ctypes import POINTER, c_char_p, c_int32, c_int64, c_size_t, c_uint8, c_void_p
from functools import lru_cache
from pathlib import Path
from typing import Any

import numpy as np

from ._structures import (AS_MISSING, BlockCallbacks, ColumnSummary, CONVERGED_OUTCOMES, Error, FIRST_OBSERVED,
                          FIT_COX_SNELL, FIT_MCFADDEN, FIT_NAGELKERKE, FIT_R_SQUARE, FIT_RMSE, LAST_OBSERVED, LINEAR,
                          LOGISTIC, LogisticOptions, LogisticSummary, MISSING_VALUE, NEXT_END, NEXT_RECORD,
                          NextCallback, Options, OUTCOME_COMPLETE_SEPARATION, OUTCOME_QUASI_SEPARATION, ParameterInfo,
                          ProgressCallback, RecordCounts, REFUSE, RewindCallback, RunnerCallback, ScaledSummary,
                          Scores, Summary, TypedColumn, VALUE_TYPES)
from .errors import DataError, LibraryError, QvregError

OK, CANCELLED = 0, 1
NO_RECORDS, NOTHING_TO_FIT, NO_PARAMETERS, ONE_CATEGORY = 307, 308, 309, 318
REFUSED_VALUE = 1016
TOO_MANY_PARAMETERS = 305

WITHOUT_RECORDS = frozenset({NO_RECORDS, NOTHING_TO_FIT, NO_PARAMETERS})
# Statuses that tell of the data, not of a call.
_DATA_CODES = WITHOUT_RECORDS | {ONE_CATEGORY, REFUSED_VALUE}
# Statuses of which users know another name.
_SENTENCES = {
    ONE_CATEGORY: "The rows that can be used have one class only: two are needed. Rows are left out for missing "
                  "values and for weights of 0.",
}


class Handle:
    """A handle of the library, given back when nothing holds it any more.

    `keeps` are the objects whose memory the library reads as long as the handle lives.
    """

    def __init__(self, kind: str, pointer: c_void_p, keeps: Any = None) -> None:
        self._as_parameter_ = pointer
        self._destroy = getattr(_library(), f"qvreg_{kind}_destroy")
        self.keeps = keeps

    def __del__(self) -> None:
        self._destroy(self._as_parameter_)


def _library_file() -> Path:
    """The library that is loaded: the one that ``QVREG_LIBRARY`` names, or that of the package."""
    named = os.environ.get("QVREG_LIBRARY")
    if named:
        return Path(named)
    name = "qvreg.dll" if sys.platform == "win32" else "libqvreg.so"
    return Path(__file__).with_name("lib") / name


@lru_cache(maxsize=None)
def _library() -> ctypes.CDLL:
    path = _library_file()
    try:
        library = ctypes.CDLL(str(path))
    except OSError as error:
        raise LibraryError(
            f"The shared library {path} could not be loaded: {error}. Install the package again, or "
            "let the environment variable QVREG_LIBRARY name the file.") from error
    library.qvreg_version_string.restype = c_char_p
    library.qvreg_code_text.restype = c_char_p
    return library


def version() -> str:
    """The version of the library, as "major.minor.patch"."""
    return _library().qvreg_version_string().decode()


def code_text(code: int) -> str:
    """What a code of the library means."""
    return _library().qvreg_code_text(c_int32(code)).decode()


def failure(code: int, error: Error) -> QvregError:
    """The exception of a `code` that is not success, with the message of `error`."""
    message = _SENTENCES.get(code) or error.message.decode("utf-8")
    kind = DataError if code in _DATA_CODES else LibraryError
    made = kind(message or f"The library returned the code {code}.", code)
    made.data = list(error.discrete)
    return made


def attempt(function: str, *arguments: Any) -> tuple[int, Error]:
    """Calls ``qvreg_<function>`` and returns its code and error. Numbers of Python are int32_t."""
    error = Error()
    code = getattr(_library(), "qvreg_" + function)(*arguments, ctypes.byref(error))
    return code, error


def call(function: str, *arguments: Any) -> None:
    """Calls ``qvreg_<function>``; an exception where it fails."""
    code, error = attempt(function, *arguments)
    if code != OK:
        raise failure(code, error)


def make(kind: str, function: str, *arguments: Any, keeps: Any = None) -> Handle:
    """The handle that ``qvreg_<function>`` stores behind its arguments."""
    pointer = c_void_p()
    call(function, *arguments, ctypes.byref(pointer))
    return Handle(kind, pointer, keeps)


def get(kind: Any, function: str, *arguments: Any) -> Any:
    """The number or structure that ``qvreg_<function>`` stores behind its arguments."""
    value = kind()
    call(function, *arguments, ctypes.byref(value))
    return value if isinstance(value, ctypes.Structure) else value.value


def get_array(dtype: Any, function: str, *arguments: Any) -> np.ndarray:
    """The list that ``qvreg_<function>`` copies to a buffer behind its arguments."""
    return get_arrays((dtype,), function, *arguments)[0]


def get_arrays(dtypes: tuple, function: str, *arguments: Any) -> list[np.ndarray]:
    """The lists, all of one length, that ``qvreg_<function>`` copies to buffers."""
    count = c_size_t()
    call(function, *arguments, *[None] * len(dtypes), c_size_t(0), ctypes.byref(count))
    arrays = [np.empty(count.value, dtype) for dtype in dtypes]
    if count.value > 0:
        call(function, *arguments, *[array.ctypes.data_as(c_void_p) for array in arrays], count,
             None)
    return arrays


def get_square(function: str, handle: Handle, size: int) -> np.ndarray:
    """The `size` x `size` matrix that ``qvreg_<function>`` copies to a buffer."""
    matrix = np.zeros((size, size))
    call(function, handle, matrix.ctypes.data_as(c_void_p), c_size_t(size), c_size_t(size * size),
         None)
    return matrix


def get_bytes(function: str, *arguments: Any) -> bytes:
    """The bytes that ``qvreg_<function>`` makes."""
    return bytes_of(make("bytes", function, *arguments))


def bytes_of(handle: Any) -> bytes:
    """A copy of the bytes that the library holds as `handle`."""
    data, size = POINTER(c_uint8)(), c_size_t()
    call("bytes_get_data", handle, ctypes.byref(data), ctypes.byref(size))
    return ctypes.string_at(data, size.value)


def make_bytes(data: bytes) -> Handle:
    """A copy of `data` as a handle of the library."""
    return make("bytes", "bytes_create", data, c_size_t(len(data)))


def restore(model: bytes, function: str = "component_restore") -> Handle:
    """The component that `model`, bytes of a component, was made of, by ``qvreg_<function>``."""
    return make("component", function, make_bytes(model))


def int32s(values: list[int]) -> ctypes.Array:
    return (c_int32 * len(values))(*values)
