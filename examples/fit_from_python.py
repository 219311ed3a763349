#!/usr/bin/env python3
"""Fits `growth ~ soil + sun` to records in memory, through ctypes, and prints the estimates.

Usage: fit_from_python.py [LIBRARY]. Without the argument, the library is the one that the variable
QVREG_LIBRARY of the environment names, or the system's.
"""

import ctypes
import ctypes.util
import os
import sys

GROWTH, SOIL, SUN = range(3)  # positions in a record
ROWS = [(12.1, 0, 3), (15.9, 0, 5), (19.2, 0, 6), (22.0, 0, 8),
        (10.4, 1, 4), (13.1, 1, 5), (16.8, 1, 7), (20.5, 1, 9)]

QVREG_MODEL_LINEAR = 0
QVREG_FIT_R_SQUARE = 1


class Error(ctypes.Structure):  # qvreg_error
    _fields_ = [("struct_size", ctypes.c_size_t), ("code", ctypes.c_int32),
                ("is_warning", ctypes.c_int32), ("has_discrete", ctypes.c_int32 * 4),
                ("has_scale", ctypes.c_int32 * 4), ("discrete", ctypes.c_int64 * 4),
                ("scale", ctypes.c_double * 4), ("message", ctypes.c_char * 512)]


class Column(ctypes.Structure):  # qvreg_column
    _fields_ = [("values", ctypes.POINTER(ctypes.c_double)), ("stride", ctypes.c_ssize_t)]


class ParameterInfo(ctypes.Structure):  # qvreg_parameter_info
    _fields_ = [("struct_size", ctypes.c_size_t), ("n_factors", ctypes.c_int32),
                ("n_covariates", ctypes.c_int32), ("covariate_multiplicity", ctypes.c_int32),
                ("is_intercept", ctypes.c_int32), ("effect_index", ctypes.c_int32),
                ("target_category", ctypes.c_int32)]


def open_library():
    path = (sys.argv[1] if len(sys.argv) > 1 else
            os.environ.get("QVREG_LIBRARY") or ctypes.util.find_library("qvreg"))
    if not path:
        sys.exit("There is no library qvreg; name its file as the argument or in QVREG_LIBRARY.")
    return ctypes.CDLL(path)


library = open_library()


def call(function, *arguments):
    """Calls a function of the interface with an error structure behind its arguments. An argument
    that is a Python number is an int32_t; every other has its type."""
    error = Error(struct_size=ctypes.sizeof(Error))
    if getattr(library, "qvreg_" + function)(*arguments, ctypes.byref(error)) != 0:
        sys.exit(f"{error.message.decode()} (code {error.code})")


def made(function, *arguments):
    """The handle that a function stores behind its arguments."""
    handle = ctypes.c_void_p()
    call(function, *arguments, ctypes.byref(handle))
    return handle


def make_settings():
    settings = made("settings_create", QVREG_MODEL_LINEAR)
    call("settings_set_dependent", settings, GROWTH)
    call("settings_add_factor", settings, SOIL, 2)
    call("settings_add_covariate", settings, SUN)
    one = ctypes.c_size_t(1)
    effect = made("effect_create", (ctypes.c_int32 * 1)(SOIL), one, (ctypes.c_int32 * 1)(SUN), one)
    call("effect_add_factor", effect, SOIL, 0)
    call("settings_add_effect", settings, effect)
    call("effect_reset", effect)
    call("effect_add_covariate", effect, SUN, None)
    call("settings_add_effect", settings, effect)
    library.qvreg_effect_destroy(effect)
    return settings


def print_results(results):
    count = ctypes.c_size_t()
    call("results_get_estimates", results, None, ctypes.c_size_t(0), ctypes.byref(count))
    estimates = (ctypes.c_double * count.value)()
    redundant = (ctypes.c_int32 * count.value)()
    call("results_get_estimates", results, estimates, count, None)
    call("results_get_redundant", results, redundant, count, None)
    parameters = made("results_get_parameters", results)
    for i in range(count.value):
        info = ParameterInfo(struct_size=ctypes.sizeof(ParameterInfo))
        call("parameters_get_info", parameters, ctypes.c_size_t(i), ctypes.byref(info))
        soil = ctypes.c_int32()
        call("parameters_get_factors", parameters, ctypes.c_size_t(i), None, ctypes.byref(soil),
             None, ctypes.c_size_t(1), None)
        name = ("intercept " if info.is_intercept else
                f"soil={soil.value}    " if info.n_factors else "sun       ")
        print(f"{name}{estimates[i]:8.4f}{'  (redundant)' if redundant[i] else ''}")
    r_square = ctypes.c_double()
    call("results_get_fit_stat", results, QVREG_FIT_R_SQUARE, ctypes.byref(r_square))
    print(f"R square  {r_square.value:8.4f}")
    library.qvreg_parameters_destroy(parameters)


def main():
    # The columns stay in Python's memory: they must live as long as the source.
    values = [(ctypes.c_double * len(ROWS))(*column) for column in zip(*ROWS)]
    columns = (Column * len(values))(
        *[Column(ctypes.cast(v, ctypes.POINTER(ctypes.c_double)), 1) for v in values])
    settings = make_settings()
    records = made("source_create_columns", columns, ctypes.c_size_t(len(values)),
                   ctypes.c_size_t(len(ROWS)))
    model = made("component_create", settings)
    call("component_build", model, records)
    results = made("component_get_results", model)
    print_results(results)
    for kind, handle in (("results", results), ("component", model), ("source", records),
                         ("settings", settings)):
        getattr(library, f"qvreg_{kind}_destroy")(handle)


main()
