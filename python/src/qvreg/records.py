"""Record files that the command ``qvreg`` writes, in parts, on one machine or on a cluster.

A table in several files is fitted where the files are: `spool` finds the levels of the factors of each, `unite` makes
those of all, `spool` writes each file as records with these, and `fit` makes the passes over the record files. On a
cluster of Dask every step is a task where the file can be read, and sums travel alone.

Formulas are those of the command, and factors are coded as it codes them: their last level is the base.

Examples
--------
>>> from qvreg import records
>>> found = [records.spool(path, "y ~ g + x") for path in ("1.csv", "2.csv")]  # doctest: +SKIP
>>> levels = records.unite(found)  # doctest: +SKIP
>>> parts = [records.spool(path, "y ~ g + x", path + ".records", levels=levels)
...          for path in ("1.csv", "2.csv")]  # doctest: +SKIP
>>> records.fit(parts)["parameters"][0]  # doctest: +SKIP
{'label': '(Intercept)', 'estimate': 1.25, 'std_error': 0.5, 'redundant': False}
"""

from __future__ import annotations

import ctypes
import json
import os
import tempfile
from collections.abc import Mapping, Sequence
from ctypes import c_size_t
from decimal import Decimal
from itertools import product
from pathlib import Path
from typing import Any

import numpy as np

from . import _library as lib
from ._command import answered
from ._fit import Options, set_options
from ._passes import PartedRecords, PartsHere, RecordFile
from ._running import Call
from .errors import ArgumentError, DataError

__all__ = ["fit", "spool", "unite"]

# What the parts of one table have in common.
_SHARED = ("model", "formula", "record_size", "freq_weight", "regression_weight", "intercept", "effects")


def spool(data: Any, formula: str, out: Any = None, *, levels: Mapping[str, Any] | None = None,
          options: Sequence[str] = ()) -> dict[str, Any]:
    """Has the command write a table as a record file, or find the levels of its factors.

    Parameters
    ----------
    data : str or path-like
        The file, or a pattern of files.
    formula : str
        As the command has it.
    out : str or path-like, optional
        The record file; without it levels are found and nothing is written.
    levels : mapping, optional
        The levels to code by, as `unite` gives them; by default those that occur.
    options : sequence of str
        Further options of ``qvreg spool``, such as ``["--where", "delay > 0"]``.

    Returns
    -------
    dict
        What ``qvreg spool --json`` says.
    """
    made = ["--only-levels"] if out is None else ["--out", os.path.abspath(out)]
    with tempfile.TemporaryDirectory(prefix="qvreg-") as folder:
        if levels is not None:
            listed = Path(folder, "levels.json")
            listed.write_text(json.dumps(levels), encoding="utf-8")
            made += ["--levels-from", str(listed)]
        return answered(["spool", "--data", os.fspath(data), "--formula", formula, *made, *options, "--json", "-"])


def unite(descriptions: Sequence[Mapping[str, Any]]) -> dict[str, Any]:
    """The levels of all parts of a table, in the order in which the command sorts them.

    Parameters
    ----------
    descriptions : sequence of dict
        What `spool` says of each part.

    Returns
    -------
    dict
        Levels for `spool`.
    """
    columns = [_united([description["columns"][position] for description in descriptions])
               for position in range(len(_common(descriptions)["columns"]))]
    return {"columns": [column for column in columns if column["levels"] is not None]}


def fit(descriptions: Sequence[Mapping[str, Any]], client: Any = None, *, timeout: float = 300.0,
        max_iterations: int = 100) -> dict[str, Any]:
    """Fits the model of record files, the parts of one table.

    Parameters
    ----------
    descriptions : sequence of dict
        What `spool` says of each part, all with the same levels. The order counts: results are the same, to the last
        bit, wherever the passes over the same parts are made.
    client : distributed.Client, optional
        The cluster whose workers read the files, each of them any of the files; this process, by default.
    timeout : float
        For how many seconds to wait while the cluster has no worker.
    max_iterations : int
        The most iterations of a logistic model.

    Returns
    -------
    dict
        ``model``, ``formula``, ``dependent``; ``records``, of which ``used`` for the fit; ``parameters``, each with
        ``label``, ``estimate``, ``std_error`` (None where there is none) and ``redundant``, of a logistic model with
        the ``category`` whose log odds it is of; of a linear model ``r_square`` and ``residual_std_error``; of a
        logistic one ``reference``, ``log_likelihood``, ``iterations`` and ``converged``.
    """
    shared = _common(descriptions)
    for description in descriptions:
        if description["out"] is None:
            raise ArgumentError("A part has no record file: give spool() the name of one as out=.")
        if _levels(description) != _levels(shared):
            raise DataError(f"The parts {shared['out']!r} and {description['out']!r} have other levels of a factor: "
                            "give spool() those that unite() makes of all parts as levels=.")
    names = [column["name"] for column in shared["columns"]]
    files = [RecordFile(description["out"], shared["record_size"], names) for description in descriptions]
    if client is None:
        return _fit(shared, PartsHere(files), max_iterations)
    from ._dask_cluster import Tasks, cluster_client
    from ._dask_parts import ClusterRecords

    tasks = Tasks(cluster_client(client), timeout)
    try:
        return _fit(shared, ClusterRecords(tasks, files, names), max_iterations)
    finally:
        tasks.release()


def _common(descriptions: Sequence[Mapping[str, Any]]) -> Mapping[str, Any]:
    """The first of `descriptions`; an exception where others are of another model."""
    if not descriptions:
        raise ArgumentError("There are no parts.")
    first = descriptions[0]
    for description in descriptions:
        for key in _SHARED:
            if description[key] != first[key]:
                raise DataError(f"The parts are not of one model: {key} is {first[key]!r} of the first and "
                                f"{description[key]!r} of another. Give all the same formula, and columns the same "
                                "types with --types.")
        if _roles(description) != _roles(first):
            raise DataError("The parts are not of one model: their records have other columns, or a column is a number "
                            "in some and a category in others. Give columns the same types with --types.")
    return first


def _roles(description: Mapping[str, Any]) -> list:
    return [(column["name"], column["role"], column["levels"] is None) for column in description["columns"]]


def _levels(description: Mapping[str, Any]) -> list:
    return [column["levels"] for column in description["columns"]]


def _united(columns: list[Mapping[str, Any]]) -> dict[str, Any]:
    name, kind = columns[0]["name"], columns[0]["kind"]
    if columns[0]["levels"] is None:
        return {"name": name, "kind": kind, "levels": None}
    kinds = {column["kind"] for column in columns if column["levels"]}
    if len(kinds) > 1:
        raise DataError(f"The levels of {name!r} are {' and '.join(sorted(kinds))} in different parts: give the column "
                        "one type, as with --types.")
    kind = next(iter(kinds), kind)
    texts = {text for column in columns for text in column["levels"]}
    if kind == "number":
        by_value = {Decimal(text): text for text in sorted(texts, reverse=True)}
        return {"name": name, "kind": kind, "levels": [by_value[value] for value in sorted(by_value)]}
    # By their bytes, as code points are: no before yes, F before T, false before true.
    return {"name": name, "kind": kind, "levels": sorted(texts)}


def _fit(description: Mapping[str, Any], records: PartedRecords, max_iterations: int) -> dict[str, Any]:
    settings = _settings(description, max_iterations)
    call = Call()
    records.attach(settings, call, 0)
    component = lib.make("component", "component_create", settings, keeps=settings)
    call.run(component, "component_build", None)
    results = lib.make("results", "component_get_results", component)
    counts = lib.get(lib.RecordCounts, "results_get_record_counts", results)
    found = {"model": description["model"], "formula": description["formula"],
             "dependent": description["columns"][0]["name"], "records": counts.read, "used": counts.used}
    return {**found, **(_linear if description["model"] == "linear" else _logistic)(description, results)}


def _settings(description: Mapping[str, Any], max_iterations: int) -> lib.Handle:
    is_linear = description["model"] == "linear"
    settings = lib.make("settings", "settings_create", lib.LINEAR if is_linear else lib.LOGISTIC)
    lib.call("settings_set_dependent", settings, description["dependent"])
    columns = {role: [position for position, column in enumerate(description["columns"]) if column["role"] == role]
               for role in ("factor", "covariate")}
    for position in columns["factor"]:
        size = max(1, len(description["columns"][position]["levels"]))
        lib.call("settings_add_factor", settings, position, size)
    for position in columns["covariate"]:
        lib.call("settings_add_covariate", settings, position)
    for role, function in (("freq_weight", "frequency"), ("regression_weight", "regression")):
        if description[role] is not None:
            lib.call(f"settings_set_{function}_weight", settings, description[role])
    for effect in description["effects"]:
        made = lib.make("effect", "effect_create", lib.int32s(columns["factor"]), c_size_t(len(columns["factor"])),
                        lib.int32s(columns["covariate"]), c_size_t(len(columns["covariate"])))
        for factor in effect["factors"]:
            lib.call("effect_add_factor", made, factor["column"], int(factor["nested"]))
        for covariate in effect["covariates"]:
            for _ in range(covariate["power"]):
                lib.call("effect_add_covariate", made, covariate["column"], None)
        lib.call("settings_add_effect", settings, made)
    categories = description["columns"][0]["levels"]
    reference = lib.FIRST_OBSERVED if categories is not None and len(categories) == 2 else lib.LAST_OBSERVED
    set_options(settings, description["intercept"],
                Options(n_categories=None if is_linear else len(categories), reference=reference,
                        max_iterations=max_iterations))
    return settings


def _linear(description: Mapping[str, Any], results: lib.Handle) -> dict[str, Any]:
    total = lib.get(lib.Summary, "results_get_summary", results).total_frequency_weight
    kept = int((_redundant(results) == 0).sum())
    residual = _stat(results, lib.FIT_RMSE) ** 2 * total
    variance = residual / (total - kept) if total > kept else np.nan
    return {"r_square": _number(_stat(results, lib.FIT_R_SQUARE)), "residual_std_error": _number(np.sqrt(variance)),
            "parameters": _parameters(description, results, [{}], variance)}


def _logistic(description: Mapping[str, Any], results: lib.Handle) -> dict[str, Any]:
    codes, _ = lib.get_arrays((np.int32, np.float64), "logistic_get_categories", results)
    *others, reference = (description["columns"][0]["levels"][code] for code in codes)
    summary = lib.get(lib.LogisticSummary, "logistic_get_summary", results)
    return {"reference": reference, "log_likelihood": summary.final_log_likelihood,
            "iterations": summary.iterations, "converged": summary.outcome in lib.CONVERGED_OUTCOMES,
            "parameters": _parameters(description, results, [{"category": other} for other in others], 1.0)}


def _stat(results: lib.Handle, number: int) -> float:
    """A fit statistic, NaN where it is not defined."""
    value = lib.get(ctypes.c_double, "results_get_fit_stat", results, ctypes.c_int32(number))
    return np.nan if value == lib.MISSING_VALUE else value


def _redundant(results: lib.Handle) -> np.ndarray:
    return lib.get_array(np.int32, "results_get_redundant", results)


def _parameters(description: Mapping[str, Any], results: lib.Handle, equations: list[dict],
                variance: float) -> list[dict]:
    estimates = lib.get_array(np.float64, "results_get_estimates", results)
    redundant = _redundant(results)
    covariance = lib.get_square("results_get_covariance_full", results, len(estimates))
    errors = np.sqrt(np.diag(covariance) * variance)
    described = lib.make("parameters", "results_get_parameters", results)
    width = len(estimates) // len(equations)
    labels = [_label(description, described, index) for index in range(width)]
    return [{**equation, "label": labels[index], "estimate": float(estimates[number * width + index]),
             "std_error": None if redundant[index] else _number(errors[number * width + index]),
             "redundant": bool(redundant[index])}
            for (number, equation), index in product(enumerate(equations), range(width))]


def _label(description: Mapping[str, Any], parameters: lib.Handle, index: int) -> str:
    """What the command calls a parameter."""
    info = lib.get(lib.ParameterInfo, "parameters_get_info", parameters, c_size_t(index))
    if info.is_intercept:
        return "(Intercept)"
    effect = description["effects"][info.effect_index - int(description["intercept"])]
    columns = description["columns"]
    pieces = []
    if info.n_factors:
        found = lib.get_arrays((np.int32,) * 3, "parameters_get_factors", parameters, c_size_t(index))
        codes = dict(zip(*found[:2]))
        for position in (factor["column"] for factor in effect["factors"]):
            pieces.append(f"{columns[position]['name']}={columns[position]['levels'][codes[position]]}")
    for covariate in effect["covariates"]:
        name, power = columns[covariate["column"]]["name"], covariate["power"]
        pieces.append(name if power == 1 else f"I({name}^{power})")
    return ":".join(pieces)


def _number(value: float) -> float | None:
    """`value` as JSON can have it."""
    return float(value) if np.isfinite(value) else None
