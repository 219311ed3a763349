#!/usr/bin/env python3
"""Fits a record file through the C interface, on one thread and on two, and reads it through.

    record_file.py LIBRARY RECORDS RECORD_SIZE

Of the first position a linear model is fitted, by the others as covariates.
"""

import ctypes
import pathlib
import sys
from ctypes import c_double, c_int32, c_size_t

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "python"))
import qvreg  # noqa: E402


def model(size):
    return qvreg.Model(kind=0, dependent=0, factors={}, covariates=list(range(1, size)),
                       effects=[qvreg.Effect([], [i]) for i in range(1, size)])


def fit(library, settings, source):
    component = library.made("component", "component_create", settings)
    library.call("component_build", component, source)
    results = library.made("results", "component_get_results", component)
    counts = library.value(qvreg.RecordCounts, "results_get_record_counts", results)
    return counts.used, library.list(c_double, "results_get_estimates", results)


def read_through(library, source, size):
    library.call("source_rewind", source)
    record, more, total = (c_double * size)(), c_int32(1), 0.0
    while True:
        library.call("source_next", source, record, c_size_t(size), ctypes.byref(more))
        if not more.value:
            return total
        total += sum(record)


def main():
    library, path, size = qvreg.Library(sys.argv[1]), sys.argv[2], int(sys.argv[3])
    source = library.made("source", "source_open_file", path.encode("utf-8"), c_size_t(size))
    settings = qvreg.make_settings(library, model(size))
    print(fit(library, settings, source))
    print(read_through(library, source, size))
    library.call("settings_set_threads", settings, source, 2, ctypes.c_int64(0))
    print(fit(library, settings, None))


try:
    main()
except qvreg.Error as error:
    sys.exit(f"qvreg: {error}.")
