"""The C interface of the library for ctypes, as far as these tests need it.

Its structures are those of the Python package; the package itself needs numpy, and these tests do not.
"""

import ctypes
import importlib.util
import pathlib
from ctypes import c_double, c_int32, c_size_t, c_ssize_t, c_void_p
from dataclasses import dataclass


def structures_of_package():
    path = pathlib.Path(__file__).resolve().parents[2] / "python" / "src" / "qvreg" / "_structures.py"
    spec = importlib.util.spec_from_file_location("structures", path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


structures = structures_of_package()
MISSING = structures.MISSING_VALUE
LINEAR, LOGISTIC = structures.LINEAR, structures.LOGISTIC
LAST_OBSERVED, FIRST_OBSERVED = structures.LAST_OBSERVED, structures.FIRST_OBSERVED
RMSE, R_SQUARE = structures.FIT_RMSE, structures.FIT_R_SQUARE
COX_SNELL, NAGELKERKE, MCFADDEN = structures.FIT_COX_SNELL, structures.FIT_NAGELKERKE, structures.FIT_MCFADDEN
NEXT_END, NEXT_RECORD = structures.NEXT_END, structures.NEXT_RECORD

CANCELLED, NO_RECORDS, UNREADABLE_RECORD, BAD_CATEGORY = 1, 307, 314, 316
NULL_HANDLE, BAD_HANDLE, SETTING_REFUSED, WRONG_MODEL, NOT_SERVED = 1001, 1002, 1008, 1009, 1010
CANNOT_OPEN = 1011

Progress, ProgressCallback = structures.Progress, structures.ProgressCallback
LogisticOptions, Summary = structures.LogisticOptions, structures.Summary
LogisticSummary, ScaledSummary = structures.LogisticSummary, structures.ScaledSummary


class RecordCounts(structures.Sized):
    """As the first version of the header had it: without ``used_later``."""

    _fields_ = structures.RecordCounts._fields_[:6]


class Options(structures.Sized):
    """As the first version of the header had it: without ``max_refinements``."""

    _fields_ = structures.Options._fields_[:10]


class Column(ctypes.Structure):
    _fields_ = [("values", ctypes.POINTER(c_double)), ("stride", c_ssize_t)]


NextCallback = ctypes.CFUNCTYPE(c_int32, c_void_p, ctypes.POINTER(c_double), c_size_t)
RewindCallback = ctypes.CFUNCTYPE(c_int32, c_void_p)
CancelCallback = ctypes.CFUNCTYPE(c_int32, c_void_p)


class RecordCallbacks(structures.Sized):
    _fields_ = [("struct_size", c_size_t), ("record_size", c_size_t), ("user", c_void_p),
                ("next", NextCallback), ("rewind", RewindCallback)]


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
        error = structures.Error()
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
