"""The C interface of the library for ctypes, as far as these tests need it."""

import ctypes
from ctypes import c_char, c_double, c_int32, c_int64, c_size_t, c_ssize_t, c_void_p
from dataclasses import dataclass

MISSING = -1.7976931348623157e308

LINEAR, LOGISTIC = 0, 1
LAST_OBSERVED, FIRST_OBSERVED = -1, -2
RMSE, R_SQUARE, COX_SNELL, NAGELKERKE, MCFADDEN = range(5)
NEXT_END, NEXT_RECORD = 0, 1

CANCELLED, NO_RECORDS, UNREADABLE_RECORD, BAD_CATEGORY = 1, 307, 314, 316
NULL_HANDLE, BAD_HANDLE, SETTING_REFUSED, WRONG_MODEL, NOT_SERVED = 1001, 1002, 1008, 1009, 1010
CANNOT_OPEN = 1011


class Sized(ctypes.Structure):
    """A structure that begins with its own size."""

    def __init__(self, **fields):
        super().__init__(struct_size=ctypes.sizeof(type(self)), **fields)


class ErrorStruct(Sized):
    _fields_ = [("struct_size", c_size_t), ("code", c_int32), ("is_warning", c_int32),
                ("has_discrete", c_int32 * 4), ("has_scale", c_int32 * 4),
                ("discrete", c_int64 * 4), ("scale", c_double * 4), ("message", c_char * 512)]


class RecordCounts(Sized):
    _fields_ = [("struct_size", c_size_t), ("read", c_int64), ("used", c_int64),
                ("missing", c_int64), ("bad_weight", c_int64), ("out_of_range", c_int64)]


class Options(Sized):
    _fields_ = [("struct_size", c_size_t), ("tolerance", c_double),
                ("confidence_level", c_double), ("degrees_of_freedom", c_double),
                ("use_intercept", c_int32), ("refine_estimates", c_int32),
                ("test_type", c_int32), ("p_adjustment", c_int32), ("covariance_type", c_int32),
                ("reserved", c_int32)]


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
                ("estimates", ctypes.POINTER(c_double)), ("n_estimates", c_size_t)]


class Column(ctypes.Structure):
    _fields_ = [("values", ctypes.POINTER(c_double)), ("stride", c_ssize_t)]


NextCallback = ctypes.CFUNCTYPE(c_int32, c_void_p, ctypes.POINTER(c_double), c_size_t)
RewindCallback = ctypes.CFUNCTYPE(c_int32, c_void_p)
CancelCallback = ctypes.CFUNCTYPE(c_int32, c_void_p)
ProgressCallback = ctypes.CFUNCTYPE(None, c_void_p, ctypes.POINTER(Progress))


class RecordCallbacks(Sized):
    _fields_ = [("struct_size", c_size_t), ("record_size", c_size_t), ("user", c_void_p),
                ("next", NextCallback), ("rewind", RewindCallback)]


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


class Error(Exception):
    """A code that is not success."""

    def __init__(self, code, struct):
        super().__init__(f"{struct.message.decode('utf-8')} (code {code})")
        self.code = code
        self.message = struct.message.decode("utf-8")
        self.discrete = list(struct.discrete)


class Library:
    """The functions of the library; a number of Python's is an int32_t, other arguments have their
    types."""

    def __init__(self, path):
        self.functions = ctypes.CDLL(path)
        self.functions.qvreg_version_string.restype = ctypes.c_char_p

    def call(self, function, *arguments):
        error = ErrorStruct()
        code = getattr(self.functions, "qvreg_" + function)(*arguments, ctypes.byref(error))
        if code != 0:
            raise Error(code, error)

    def made(self, kind, function, *arguments):
        handle = c_void_p()
        self.call(function, *arguments, ctypes.byref(handle))
        return Handle(self, kind, handle)

    def value(self, kind, function, *arguments):
        """What a function stores behind its arguments: a number or a structure."""
        value = kind()
        self.call(function, *arguments, ctypes.byref(value))
        return value if isinstance(value, ctypes.Structure) else value.value

    def list(self, kind, function, *arguments):
        """The list that a function copies to a buffer behind its arguments."""
        count = c_size_t()
        self.call(function, *arguments, None, c_size_t(0), ctypes.byref(count))
        buffer = (kind * count.value)()
        if count.value > 0:
            self.call(function, *arguments, buffer, count, None)
        return list(buffer)


class Handle:
    """A handle, given back when nothing holds it any more."""

    def __init__(self, library, kind, pointer):
        self.library = library
        self.kind = kind
        self._as_parameter_ = pointer

    def __del__(self):
        getattr(self.library.functions, f"qvreg_{self.kind}_destroy")(self._as_parameter_)


def int32s(values):
    return (c_int32 * len(values))(*values)


@dataclass
class Effect:
    """Positions of its factors, each nested in those before it or all crossed, and of its
    covariates, repeated for powers."""

    factors: list
    covariates: list
    is_nested: bool = False


@dataclass
class Model:
    """Positions in a record; of factors with their numbers of levels."""

    kind: int
    dependent: int
    factors: dict
    covariates: list
    effects: list
    frequency: int = None
    regression: int = None


def make_settings(library, model):
    settings = library.made("settings", "settings_create", model.kind)
    library.call("settings_set_dependent", settings, model.dependent)
    for position, levels in model.factors.items():
        library.call("settings_add_factor", settings, position, levels)
    for position in model.covariates:
        library.call("settings_add_covariate", settings, position)
    if model.frequency is not None:
        library.call("settings_set_frequency_weight", settings, model.frequency)
    if model.regression is not None:
        library.call("settings_set_regression_weight", settings, model.regression)
    for effect in model.effects:
        library.call("settings_add_effect", settings, make_effect(library, model, effect))
    return settings


def make_effect(library, model, effect):
    factors, covariates = int32s(list(model.factors)), int32s(model.covariates)
    made = library.made("effect", "effect_create", factors, c_size_t(len(factors)), covariates,
                        c_size_t(len(covariates)))
    for position in effect.factors:
        library.call("effect_add_factor", made, position, int(effect.is_nested))
    for position in effect.covariates:
        library.call("effect_add_covariate", made, position, None)
    return made


def change(library, settings, what, structure, choices):
    """Changes some of the `options` or `logistic_options`."""
    library.call(f"settings_get_{what}", settings, ctypes.byref(structure))
    for name, value in choices.items():
        setattr(structure, name, value)
    library.call(f"settings_set_{what}", settings, ctypes.byref(structure))


class Columns:
    """Records in memory, one array per variable."""

    def __init__(self, values):
        self.n_records = len(values[0])
        self.arrays = [(c_double * self.n_records)(*column) for column in values]
        pointer = ctypes.POINTER(c_double)
        self.columns = (Column * len(self.arrays))(
            *[Column(ctypes.cast(array, pointer), 1) for array in self.arrays])

    def source(self, library):
        return library.made("source", "source_create_columns", self.columns,
                            c_size_t(len(self.arrays)), c_size_t(self.n_records))
