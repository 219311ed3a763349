"""The C interface of the library for ctypes: the only place that knows its functions and structures.

Its header, ``qvreg_c.h``, says what each function and member means.
"""

from __future__ import annotations

import ctypes
import os
import sys
from ctypes import POINTER, c_char, c_char_p, c_double, c_int32, c_int64, c_size_t, c_ssize_t, c_uint8, c_void_p
from functools import lru_cache
from pathlib import Path
from typing import Any

import numpy as np

from .errors import DataError, LibraryError, QvregError

MISSING_VALUE = -1.7976931348623157e308

LINEAR, LOGISTIC = 0, 1
FIRST_OBSERVED = -2
FIT_RMSE, FIT_R_SQUARE, FIT_COX_SNELL, FIT_NAGELKERKE, FIT_MCFADDEN = range(5)
OUTCOME_COMPLETE_SEPARATION, OUTCOME_QUASI_SEPARATION = 7, 8
# The last one had nothing to iterate: constants alone.
CONVERGED_OUTCOMES = (1, 2, 3, 9)
NEXT_END, NEXT_RECORD = 0, 1
AS_MISSING, REFUSE = 1, 2
# The library's names of array types, by numpy's.
VALUE_TYPES = {kind: number for number, kind in enumerate(
    ["float64", "float32", "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64",
     "bool"])}

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


class _Sized(ctypes.Structure):
    """A structure that begins with its own size."""

    def __init__(self, **fields: Any) -> None:
        super().__init__(struct_size=ctypes.sizeof(type(self)), **fields)


class Error(_Sized):
    _fields_ = [("struct_size", c_size_t), ("code", c_int32), ("is_warning", c_int32),
                ("has_discrete", c_int32 * 4), ("has_scale", c_int32 * 4),
                ("discrete", c_int64 * 4), ("scale", c_double * 4), ("message", c_char * 512)]


class RecordCounts(_Sized):
    _fields_ = [("struct_size", c_size_t), ("read", c_int64), ("used", c_int64),
                ("missing", c_int64), ("bad_weight", c_int64), ("out_of_range", c_int64),
                ("used_later", c_int64)]


class Options(_Sized):
    _fields_ = [("struct_size", c_size_t), ("tolerance", c_double),
                ("confidence_level", c_double), ("degrees_of_freedom", c_double),
                ("use_intercept", c_int32), ("refine_estimates", c_int32),
                ("test_type", c_int32), ("p_adjustment", c_int32), ("covariance_type", c_int32),
                ("reserved", c_int32), ("max_refinements", c_int32), ("reserved2", c_int32)]


class LogisticOptions(_Sized):
    _fields_ = [("struct_size", c_size_t), ("n_categories", c_int32),
                ("reference_category", c_int32), ("ll_criterion", c_double),
                ("param_criterion", c_double), ("is_ll_change_absolute", c_int32),
                ("is_param_change_absolute", c_int32), ("max_iterations", c_int32),
                ("max_step_halvings", c_int32), ("starting_iteration", c_int32),
                ("iteration_frequency", c_int32), ("use_pattern_tabulator", c_int32),
                ("reserved", c_int32)]


class Progress(ctypes.Structure):
    _fields_ = [("struct_size", c_size_t), ("iteration", c_int32), ("step_halvings", c_int32),
                ("log_likelihood", c_double), ("seconds", c_double),
                ("estimates", POINTER(c_double)), ("n_estimates", c_size_t)]


class ParameterInfo(_Sized):
    _fields_ = [("struct_size", c_size_t), ("n_factors", c_int32), ("n_covariates", c_int32),
                ("covariate_multiplicity", c_int32), ("is_intercept", c_int32),
                ("effect_index", c_int32), ("target_category", c_int32)]


class Summary(_Sized):
    _fields_ = [("struct_size", c_size_t), ("model", c_int32), ("n_parameters", c_int32),
                ("n_kept", c_int32), ("n_factors", c_int32),
                ("total_frequency_weight", c_double), ("total_regression_weight", c_double),
                ("degrees_of_freedom", c_double)]


class LogisticSummary(_Sized):
    _fields_ = [("struct_size", c_size_t), ("n_categories", c_int32), ("outcome", c_int32),
                ("iterations", c_int32), ("step_halvings", c_int32),
                ("initial_log_likelihood", c_double), ("final_log_likelihood", c_double),
                ("ll_change", c_double), ("param_change", c_double)]


class ScaledSummary(_Sized):
    _fields_ = [("struct_size", c_size_t), ("dependent_exponent", c_int32), ("reserved", c_int32),
                ("rmse", c_double)]


class TypedColumn(_Sized):
    _fields_ = [("struct_size", c_size_t), ("values", c_void_p), ("stride", c_ssize_t),
                ("mask", c_void_p), ("mask_stride", c_ssize_t), ("mask_offset", c_int64),
                ("map", c_void_p), ("map_size", c_size_t), ("name", c_char_p),
                ("missing_code", c_int64), ("has_missing_code", c_int32), ("type", c_int32),
                ("mask_kind", c_int32), ("nan", c_int32), ("infinite", c_int32),
                ("reserved", c_int32)]


class ColumnSummary(_Sized):
    _fields_ = [("struct_size", c_size_t), ("missing", c_int64), ("nan", c_int64),
                ("infinite", c_int64), ("first_missing", c_int64), ("first_nan", c_int64),
                ("first_infinite", c_int64), ("lowest", c_double), ("highest", c_double),
                ("are_whole", c_int32), ("reserved", c_int32)]


class Block(ctypes.Structure):
    _fields_ = [("struct_size", c_size_t), ("n_records", c_size_t),
                ("columns", POINTER(TypedColumn))]


NextCallback = ctypes.CFUNCTYPE(c_int32, c_void_p, POINTER(Block))
RewindCallback = ctypes.CFUNCTYPE(c_int32, c_void_p)


class BlockCallbacks(_Sized):
    _fields_ = [("struct_size", c_size_t), ("n_columns", c_size_t), ("user", c_void_p),
                ("next", NextCallback), ("rewind", RewindCallback)]


class Scores(_Sized):
    _fields_ = [("struct_size", c_size_t), ("predicted", c_void_p), ("predicted_stride", c_ssize_t),
                ("standard_errors", c_void_p), ("standard_error_stride", c_ssize_t),
                ("probabilities", c_void_p), ("probability_stride", c_ssize_t),
                ("category_stride", c_ssize_t), ("categories", c_void_p),
                ("category_code_stride", c_ssize_t), ("verdicts", c_void_p),
                ("verdict_stride", c_ssize_t), ("covariance", c_void_p),
                ("covariance_size", c_size_t), ("is_missing_nan", c_int32), ("reserved", c_int32)]


ProgressCallback = ctypes.CFUNCTYPE(None, c_void_p, POINTER(Progress))
RunnerCallback = ctypes.CFUNCTYPE(c_int32, c_void_p, c_void_p, POINTER(c_void_p))


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
