"""A fit by the library: settings, the run, and its numbers."""

from __future__ import annotations

import ctypes
from collections.abc import Callable, Iterator
from ctypes import c_double, c_int32, c_size_t, c_ssize_t, c_void_p
from dataclasses import dataclass
from functools import cached_property
from typing import Any

import numpy as np

from . import _library as lib
from ._columns import refused_values, start
from ._design import Design
from ._records import ChunkedRecords, Records
from ._running import Call
from .errors import DataError, LibraryError

# The square of 1e-7, by which norms of columns are compared before and after projection.
_LINEAR_TOLERANCE = 1e-14
_MAX_REFINEMENTS = 5
_ALL_THREADS = 0


@dataclass(frozen=True)
class Layout:
    """Positions in a record: the design's variables come first."""

    dependent: int
    weights: int | None = None
    freq_weights: int | None = None


@dataclass(frozen=True)
class Options:
    """How to fit. `n_categories` of the dependent, or None for the linear model."""

    n_categories: int | None = None
    reference: int = 0
    threads: int = 0
    max_iterations: int = 100
    tolerance: float = 1e-6
    progress: Callable[[int, float], Any] | None = None


def _settings(design: Design, layout: Layout, options: Options) -> lib.Handle:
    model = lib.LINEAR if options.n_categories is None else lib.LOGISTIC
    settings = lib.make("settings", "settings_create", model)
    lib.call("settings_set_dependent", settings, layout.dependent)
    for position, variable in enumerate(design.variables):
        if variable.is_factor:
            lib.call("settings_add_factor", settings, position, len(variable.levels))
        else:
            lib.call("settings_add_covariate", settings, position)
    if layout.weights is not None:
        lib.call("settings_set_regression_weight", settings, layout.weights)
    if layout.freq_weights is not None:
        lib.call("settings_set_frequency_weight", settings, layout.freq_weights)
    for term in design.terms:
        lib.call("settings_add_effect", settings, _effect(design, term))
    set_options(settings, design.has_intercept, options)
    return settings


def _effect(design: Design, term: Any) -> lib.Handle:
    factors = [i for i, variable in enumerate(design.variables) if variable.is_factor]
    covariates = [i for i, variable in enumerate(design.variables) if not variable.is_factor]
    effect = lib.make("effect", "effect_create", lib.int32s(factors), c_size_t(len(factors)),
                      lib.int32s(covariates), c_size_t(len(covariates)))
    for part in term.parts:
        if design.variables[part.variable].is_factor:
            lib.call("effect_add_factor", effect, part.variable, 0)
        else:
            lib.call("effect_add_covariate", effect, part.variable, None)
    return effect


def set_options(settings: lib.Handle, has_intercept: bool, options: Options) -> None:
    """Says how to fit."""
    common = lib.Options()
    lib.call("settings_get_options", settings, ctypes.byref(common))
    common.use_intercept = int(has_intercept)
    if options.n_categories is None:
        common.tolerance = _LINEAR_TOLERANCE
        common.refine_estimates = 1
        common.max_refinements = _MAX_REFINEMENTS
    lib.call("settings_set_options", settings, ctypes.byref(common))
    if options.n_categories is None:
        return
    logistic = lib.LogisticOptions()
    lib.call("settings_get_logistic_options", settings, ctypes.byref(logistic))
    logistic.n_categories = max(2, options.n_categories)
    logistic.reference_category = options.reference
    logistic.max_iterations = options.max_iterations
    logistic.param_criterion = options.tolerance
    lib.call("settings_set_logistic_options", settings, ctypes.byref(logistic))


def fit(design: Design, records: Records | ChunkedRecords, layout: Layout, options: Options) -> "Fit":
    """Fits the model of `design` to `records`."""
    settings = _settings(design, layout, options)
    call = Call()
    source = records.attach(settings, call, options.threads)
    # Held until the run has ended: the library keeps the address alone.
    callback = _progress_callback(call, options.progress)
    lib.call("settings_set_progress", settings, callback, None)
    component = lib.make("component", "component_create", settings, keeps=(settings, source, callback))
    try:
        with refused_values(records.names):
            call.run(component, "component_build", source)
    except DataError as error:
        raise _without_records(component, error, records) from None
    except LibraryError as error:
        raise _with_factor(design, error) from None
    component.keeps = None  # it reads no more
    return Fit(design, layout, component)


def _without_records(component: lib.Handle, error: DataError, records: Records | ChunkedRecords) -> DataError:
    """`error`, or one that says why none of the rows could be used."""
    counts = lib.get(lib.RecordCounts, "component_get_record_counts", component)
    if error.code not in lib.WITHOUT_RECORDS or counts.used:
        return error
    reasons = [f"{number} have {reason}" for number, reason in (
        (counts.missing, "a missing value"), (counts.bad_weight, "a weight of 0")) if number]
    if not reasons:
        return DataError("The data have no rows.", error.code)
    if len(reasons) == 1:
        reasons = ["all " + reasons[0]]
    return DataError(f"No row can be used: {' and '.join(reasons)}.{_empty(records)}", error.code)


def _empty(records: Records | ChunkedRecords) -> str:
    """A sentence on the first column that is missing in every row; nothing without one."""
    occurring = records.over_blocks(_occurring, set.union)
    for position, name in enumerate(records.names):
        if position not in occurring:
            is_column = name.split("'")[1:2] and name.split("'")[1].isidentifier()
            return f" {start(name)} is missing in every row{'' if is_column else ': look at what it gives'}."
    return ""


def _occurring(blocks: Iterator[Records]) -> set[int]:
    """Positions of the columns that are not missing in every row."""
    return {position for block in blocks for position, column in enumerate(block.columns)
            if column.summary().missing < block.n_rows}


def _with_factor(design: Design, error: LibraryError) -> LibraryError:
    """`error`, with the largest factor where there are too many parameters."""
    factors = [variable for variable in design.variables if variable.is_factor]
    if error.code != lib.TOO_MANY_PARAMETERS or not factors:
        return error
    largest = max(factors, key=lambda variable: len(variable.levels))
    return LibraryError(f"{error} The factor with the most levels is {largest.name!r}: it has {len(largest.levels)}.",
                        error.code)


def _progress_callback(call: Call, progress: Callable[[int, float], Any] | None) -> Any:
    if progress is None:
        return lib.ProgressCallback()
    report = call.back(progress)

    def reported(_user: Any, state: Any) -> None:
        report(state.contents.iteration, state.contents.log_likelihood)

    return lib.ProgressCallback(reported)


class Fit:
    """The numbers of a built `component`: everything in the order of ``table.names``.

    Attributes
    ----------
    table : ParameterTable
        What the parameters are.
    estimates : numpy.ndarray
        A row per equation (one of the linear model), a column per shown parameter.
    handle : Handle
        The library's results.
    all_estimates : numpy.ndarray
        The same in the library's order, with 0 for what is redundant.
    total_weight : float
        The sum of the frequency weights of the records used.
    """

    def __init__(self, design: Design, layout: Layout, component: lib.Handle) -> None:
        self.design = design
        self.layout = layout
        self.component = component
        self.handle = results = lib.make("results", "component_get_results", component)
        self.is_linear = lib.get(lib.Summary, "results_get_summary", results).model == lib.LINEAR
        self.counts = lib.get(lib.RecordCounts, "results_get_record_counts", results)
        estimates = lib.get_array(np.float64, "results_get_estimates", results)
        self.n_equations = 1 if self.is_linear else self._read_categories()
        self.width = len(estimates) // self.n_equations
        redundant = lib.get_array(np.int32, "results_get_redundant", results)[:self.width]
        self.table = design.parameters(results, redundant == 0)
        self.all_estimates = estimates.reshape(self.n_equations, self.width)
        self.estimates = self.all_estimates[:, self.table.shown]
        summary = lib.get(lib.Summary, "results_get_summary", results)
        self.total_weight = summary.total_frequency_weight
        self.iterations = 0
        self.outcome = 0
        if not self.is_linear:
            self._read_iterations()

    def __reduce__(self) -> tuple:
        return _restored, (self.design, self.layout, self.to_bytes())

    def _read_categories(self) -> int:
        """Reads the codes of the dependent that occur, the reference last; returns how many equations."""
        codes, weights = lib.get_arrays((np.int32, np.float64), "logistic_get_categories",
                                        self.handle)
        self.categories, self.category_weights = codes, weights
        return len(codes) - 1

    def _read_iterations(self) -> None:
        summary = lib.get(lib.LogisticSummary, "logistic_get_summary", self.handle)
        self.iterations, self.outcome = summary.iterations, summary.outcome
        self.initial_log_likelihood = summary.initial_log_likelihood
        self.log_likelihood = summary.final_log_likelihood

    @cached_property
    def shown(self) -> np.ndarray:
        """Positions of `estimates` among all parameters of all equations."""
        return np.concatenate([self.table.shown + equation * self.width
                               for equation in range(self.n_equations)])

    @cached_property
    def covariance(self) -> np.ndarray:
        """Of all parameters, 0 for redundant ones; of a linear model not yet times the residual
        variance."""
        return lib.get_square("results_get_covariance_full", self.handle, self.all_estimates.size)

    @property
    def converged(self) -> bool:
        return self.outcome in lib.CONVERGED_OUTCOMES

    @property
    def separation(self) -> str | None:
        """"complete" or "quasi-complete" where the predictors separate the classes, else None."""
        return {lib.OUTCOME_COMPLETE_SEPARATION: "complete",
                lib.OUTCOME_QUASI_SEPARATION: "quasi-complete"}.get(self.outcome)

    def stat(self, number: int) -> float:
        """A fit statistic, NaN where it is not defined."""
        value = lib.get(c_double, "results_get_fit_stat", self.handle, c_int32(number))
        return np.nan if value == lib.MISSING_VALUE else value

    def classification(self) -> np.ndarray:
        """Sums of frequency weights, rows observed, columns predicted, as `categories`."""
        return lib.get_square("logistic_get_classification", self.handle, self.n_equations + 1)

    def predict(self, records: Records, covariance: np.ndarray | None = None) -> tuple[np.ndarray, np.ndarray]:
        """Of a linear model the predicted means of `records` and their standard errors.

        The errors are those of `covariance`, of all parameters, and not computed without it. NaN where
        a value is missing. Records need the design's variables alone.
        """
        predicted, errors = np.empty(records.n_rows), np.empty(records.n_rows)
        scores = lib.Scores(predicted=predicted.ctypes.data, is_missing_nan=1)
        if covariance is not None:
            packed = covariance[np.tril_indices(len(covariance))]
            scores.standard_errors = errors.ctypes.data
            scores.covariance, scores.covariance_size = packed.ctypes.data, len(packed)
        self._score(records, scores)
        return predicted, errors

    def probabilities(self, records: Records) -> np.ndarray:
        """Of a logistic model those of `categories`, as `predict`."""
        probabilities = np.empty((records.n_rows, self.n_equations + 1))
        self._score(records, lib.Scores(probabilities=probabilities.ctypes.data,
                                        probability_stride=probabilities.strides[0],
                                        category_stride=probabilities.strides[1], is_missing_nan=1))
        return probabilities

    def _score(self, records: Records, scores: lib.Scores) -> None:
        with refused_values(records.names):
            lib.call("component_score_columns", self.component, *self._described(records),
                     _ALL_THREADS, ctypes.byref(scores), None)

    @staticmethod
    def _described(records: Records) -> tuple:
        return records.described(), c_size_t(len(records.columns)), c_size_t(records.n_rows)

    def add_score_products(self, records: Records, multipliers: np.ndarray, sums: np.ndarray) -> None:
        """Adds to `sums`, a packed lower triangle, the products of design rows times `multipliers`,
        a column per equation."""
        multipliers = np.ascontiguousarray(multipliers, dtype=np.float64)
        lib.call("component_add_score_products", self.component, *self._described(records),
                 _ALL_THREADS, multipliers.ctypes.data_as(c_void_p), c_ssize_t(0),
                 sums.ctypes.data_as(c_void_p), c_size_t(len(sums)))

    def to_bytes(self) -> bytes:
        return lib.get_bytes("component_write", self.component)


def _restored(design: Design, layout: Layout, model: bytes) -> Fit:
    return Fit(design, layout, lib.restore(model))
