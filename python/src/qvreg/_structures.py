"""The structures and numbers of the C interface: what its header ``qvreg_c.h`` says of them, for ctypes alone."""

from __future__ import annotations

import ctypes
from ctypes import POINTER, c_char, c_char_p, c_double, c_int32, c_int64, c_size_t, c_ssize_t, c_void_p
from typing import Any

MISSING_VALUE = -1.7976931348623157e308

LINEAR, LOGISTIC = 0, 1
LAST_OBSERVED, FIRST_OBSERVED = -1, -2
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


class Sized(ctypes.Structure):
    """A structure that begins with its own size."""

    def __init__(self, **fields: Any) -> None:
        super().__init__(struct_size=ctypes.sizeof(type(self)), **fields)


class Error(Sized):
    _fields_ = [("struct_size", c_size_t), ("code", c_int32), ("is_warning", c_int32),
                ("has_discrete", c_int32 * 4), ("has_scale", c_int32 * 4),
                ("discrete", c_int64 * 4), ("scale", c_double * 4), ("message", c_char * 512)]


class RecordCounts(Sized):
    _fields_ = [("struct_size", c_size_t), ("read", c_int64), ("used", c_int64),
                ("missing", c_int64), ("bad_weight", c_int64), ("out_of_range", c_int64),
                ("used_later", c_int64)]


class Options(Sized):
    _fields_ = [("struct_size", c_size_t), ("tolerance", c_double),
                ("confidence_level", c_double), ("degrees_of_freedom", c_double),
                ("use_intercept", c_int32), ("refine_estimates", c_int32),
                ("test_type", c_int32), ("p_adjustment", c_int32), ("covariance_type", c_int32),
                ("reserved", c_int32), ("max_refinements", c_int32), ("reserved2", c_int32)]


class LogisticOptions(Sized):
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


class ParameterInfo(Sized):
    _fields_ = [("struct_size", c_size_t), ("n_factors", c_int32), ("n_covariates", c_int32),
                ("covariate_multiplicity", c_int32), ("is_intercept", c_int32),
                ("effect_index", c_int32), ("target_category", c_int32)]


class Summary(Sized):
    _fields_ = [("struct_size", c_size_t), ("model", c_int32), ("n_parameters", c_int32),
                ("n_kept", c_int32), ("n_factors", c_int32),
                ("total_frequency_weight", c_double), ("total_regression_weight", c_double),
                ("degrees_of_freedom", c_double)]


class LogisticSummary(Sized):
    _fields_ = [("struct_size", c_size_t), ("n_categories", c_int32), ("outcome", c_int32),
                ("iterations", c_int32), ("step_halvings", c_int32),
                ("initial_log_likelihood", c_double), ("final_log_likelihood", c_double),
                ("ll_change", c_double), ("param_change", c_double)]


class ScaledSummary(Sized):
    _fields_ = [("struct_size", c_size_t), ("dependent_exponent", c_int32), ("reserved", c_int32),
                ("rmse", c_double)]


class TypedColumn(Sized):
    _fields_ = [("struct_size", c_size_t), ("values", c_void_p), ("stride", c_ssize_t),
                ("mask", c_void_p), ("mask_stride", c_ssize_t), ("mask_offset", c_int64),
                ("map", c_void_p), ("map_size", c_size_t), ("name", c_char_p),
                ("missing_code", c_int64), ("has_missing_code", c_int32), ("type", c_int32),
                ("mask_kind", c_int32), ("nan", c_int32), ("infinite", c_int32),
                ("reserved", c_int32)]


class ColumnSummary(Sized):
    _fields_ = [("struct_size", c_size_t), ("missing", c_int64), ("nan", c_int64),
                ("infinite", c_int64), ("first_missing", c_int64), ("first_nan", c_int64),
                ("first_infinite", c_int64), ("lowest", c_double), ("highest", c_double),
                ("are_whole", c_int32), ("reserved", c_int32)]


class Block(ctypes.Structure):
    _fields_ = [("struct_size", c_size_t), ("n_records", c_size_t),
                ("columns", POINTER(TypedColumn))]


NextCallback = ctypes.CFUNCTYPE(c_int32, c_void_p, POINTER(Block))
RewindCallback = ctypes.CFUNCTYPE(c_int32, c_void_p)


class BlockCallbacks(Sized):
    _fields_ = [("struct_size", c_size_t), ("n_columns", c_size_t), ("user", c_void_p),
                ("next", NextCallback), ("rewind", RewindCallback)]


class Scores(Sized):
    _fields_ = [("struct_size", c_size_t), ("predicted", c_void_p), ("predicted_stride", c_ssize_t),
                ("standard_errors", c_void_p), ("standard_error_stride", c_ssize_t),
                ("probabilities", c_void_p), ("probability_stride", c_ssize_t),
                ("category_stride", c_ssize_t), ("categories", c_void_p),
                ("category_code_stride", c_ssize_t), ("verdicts", c_void_p),
                ("verdict_stride", c_ssize_t), ("covariance", c_void_p),
                ("covariance_size", c_size_t), ("is_missing_nan", c_int32), ("reserved", c_int32)]


ProgressCallback = ctypes.CFUNCTYPE(None, c_void_p, POINTER(Progress))
RunnerCallback = ctypes.CFUNCTYPE(c_int32, c_void_p, c_void_p, POINTER(c_void_p))
