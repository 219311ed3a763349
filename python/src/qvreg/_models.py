"""The functions that fit a formula to data."""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any

import numpy as np

from ._data import Column, Records, codes, levels_of, numbers, refuse_missing, start
from ._fit import Fit, Layout, Options, fit
from ._formula import Formula, Table, _patsy
from ._model import Model
from ._progress import reporter
from .errors import DataError, QvregError
from ._record_sums import UsedRecords, robust_covariance
from .results import LinearResults, LogitResults, MNLogitResults

__all__ = ["logit", "mnlogit", "ols"]

_COVARIANCES = ("nonrobust", "hc0", "hc1")


@dataclass
class Extras:
    """What results need beside the fit: sums over the records that the library does not keep."""

    cov_type: str = "nonrobust"
    robust_covariance: np.ndarray | None = None
    centered_total: float | None = None
    sum_log_weights: float = 0.0


@dataclass
class _Arguments:
    """What the three functions have in common."""

    weights: Any = None
    freq_weights: Any = None
    missing: str = "drop"
    threads: int | None = None
    vcov: str = "nonrobust"
    base: Mapping[str, Any] | None = None
    progress: Any = False

    def __post_init__(self) -> None:
        _one_of("missing", self.missing, ("drop", "raise"))
        _one_of("vcov", self.vcov, _COVARIANCES)
        if self.threads is not None and (not isinstance(self.threads, int) or self.threads < 1):
            raise QvregError(f"threads={self.threads!r}: a whole number from 1 on is needed, or None for as many as "
                             "the machine has cores.")


def _one_of(name: str, value: Any, choices: tuple) -> None:
    if value not in choices:
        raise QvregError(f"{name}={value!r} is not known. Choose {' or '.join(map(repr, choices))}.")


def ols(formula: str, data: Any, *, weights: Any = None, freq_weights: Any = None,
        missing: str = "drop", threads: int | None = None, vcov: str = "nonrobust",
        base: Mapping[str, Any] | None = None, progress: Any = False) -> LinearResults:
    """Fits a linear model by least squares.

    Parameters
    ----------
    formula : str
        As of patsy: ``"mass ~ species*sex + length"``. Factors have treatment coding with their first
        level as base.
    data : DataFrame, dict of arrays or structured array
        The columns that the formula names.
    weights : str or array_like, optional
        Precision of each row, the inverse of its variance: a column's name or values.
    freq_weights : str or array_like, optional
        How many observations each row stands for: a column's name or values.
    missing : {"drop", "raise"}
        Whether rows with missing values are left out, or refused.
    threads : int, optional
        On how many threads to fit; by default as many as the machine has cores. Results are the same,
        to the last bit, for any number.
    vcov : {"nonrobust", "hc0", "hc1"}
        The covariance matrix of the estimates: that of equal variances, or White's, "hc1" times
        n / (n - parameters).
    base : mapping, optional
        The base level of factors by their names, as in ``{"species": "Gentoo"}``.
    progress : bool or callable
        Taken as of `logit`; a linear model has no iterations to report.

    Returns
    -------
    LinearResults

    Examples
    --------
    >>> import qvreg
    >>> data = {"y": [1.0, 2.0, 2.5, 4.5], "x": [0.0, 1.0, 2.0, 3.0]}
    >>> results = qvreg.ols("y ~ x", data)
    >>> print(results.params.round(3).to_string())
    Intercept    0.85
    x            1.10
    """
    arguments = _Arguments(weights, freq_weights, missing, threads, vcov, base, progress)
    environment = _patsy().EvalEnvironment.capture(1)
    return _fit_linear(formula, data, environment, arguments)


def logit(formula: str, data: Any, *, weights: Any = None, freq_weights: Any = None,
          missing: str = "drop", threads: int | None = None, vcov: str = "nonrobust",
          base: Mapping[str, Any] | None = None, reference: Any = None,
          progress: Any = False, max_iterations: int = 100) -> LogitResults:
    """Fits a logistic model of two classes.

    Parameters
    ----------
    formula, data, weights, freq_weights, missing, threads, vcov, base
        As of `ols`. The response has two classes: numbers, truth values or text.
    reference : optional
        The class that the other one is compared with; by default the first in order.
    progress : bool or callable
        True to show iterations, where tqdm is installed with it; or a function that is called with
        the iteration and its log-likelihood, whose exception ends the fit.
    max_iterations : int
        The most iterations.

    Returns
    -------
    LogitResults

    Examples
    --------
    >>> import qvreg
    >>> data = {"y": [0, 0, 1, 0, 1, 1], "x": [0.0, 1.0, 2.0, 3.0, 4.0, 5.0]}
    >>> results = qvreg.logit("y ~ x", data)
    >>> print(results.params.round(3).to_string())
    Intercept   -3.035
    x            1.214
    """
    arguments = _Arguments(weights, freq_weights, missing, threads, vcov, base, progress)
    environment = _patsy().EvalEnvironment.capture(1)
    return _fit_classes(formula, data, environment, arguments, reference, max_iterations, LogitResults)


def mnlogit(formula: str, data: Any, *, weights: Any = None, freq_weights: Any = None,
            missing: str = "drop", threads: int | None = None, vcov: str = "nonrobust",
            base: Mapping[str, Any] | None = None, reference: Any = None,
            progress: Any = False, max_iterations: int = 100) -> MNLogitResults:
    """Fits a multinomial logistic model.

    Parameters
    ----------
    formula, data, weights, freq_weights, missing, threads, vcov, base
        As of `ols`. The response has two or more classes: numbers, truth values or text.
    reference : optional
        The class that the others are compared with; by default the first in order.
    progress, max_iterations
        As of `logit`.

    Returns
    -------
    MNLogitResults

    Examples
    --------
    >>> import qvreg
    >>> data = {"y": list("abcabcbca"), "x": [1.0, 2.0, 3.0, 2.0, 4.0, 4.5, 2.5, 2.0, 3.0]}
    >>> results = qvreg.mnlogit("y ~ x", data)
    >>> print(results.classes, results.reference, results.params.shape)
    ['a', 'b', 'c'] a (2, 2)
    """
    arguments = _Arguments(weights, freq_weights, missing, threads, vcov, base, progress)
    environment = _patsy().EvalEnvironment.capture(1)
    return _fit_classes(formula, data, environment, arguments, reference, max_iterations, MNLogitResults)


def _fit_linear(text: str, data: Any, environment: Any, arguments: _Arguments) -> LinearResults:
    formula = Formula(text, data, environment, arguments.base)
    response = numbers(f"the response {formula.response!r}", formula.response_values(data))
    model, records = _prepare(formula, data, response, None, arguments)
    made = fit(formula.design, records, model.layout, Options(threads=arguments.threads or 0))
    return LinearResults(model, made, _linear_extras(made, records, arguments))


def _fit_classes(text: str, data: Any, environment: Any, arguments: _Arguments, reference: Any,
                 max_iterations: int, kind: type) -> Any:
    formula = Formula(text, data, environment, arguments.base)
    name = f"the response {formula.response!r}"
    values = formula.response_values(data)
    classes = levels_of(values)
    _check_classes(name, classes, two=kind is LogitResults)
    if reference is not None and reference not in classes:
        raise DataError(f"{start(name)} has no class {reference!r} to be the reference. Its classes are "
                        f"{', '.join(map(repr, classes))}.")
    response = codes(name, values, classes, np.arange(len(classes), dtype=float))
    model, records = _prepare(formula, data, response, classes, arguments)
    with reporter(arguments.progress) as progress:
        options = Options(n_categories=len(classes),
                          reference=-2 if reference is None else classes.index(reference),
                          threads=arguments.threads or 0, max_iterations=max_iterations,
                          progress=progress)
        made = fit(formula.design, records, model.layout, options)
    return kind(model, made, Extras(arguments.vcov, _robust(made, records, arguments)))


def _check_classes(name: str, classes: tuple, *, two: bool) -> None:
    if len(classes) < 2:
        only = f"one class only ({classes[0]!r})" if classes else "no class"
        raise DataError(f"{start(name)} has {only}: two are needed.")
    if two and len(classes) > 2:
        raise DataError(f"{start(name)} has {len(classes)} classes, and logit takes two: use mnlogit.")


def _prepare(formula: Formula, data: Any, response: Column, classes: tuple | None,
             arguments: _Arguments) -> tuple[Model, Records]:
    """The model and the records of its fit: the variables, the response, then the weights."""
    columns = formula.columns(data) + [response]
    dependent = len(columns) - 1
    positions: dict[str, int] = {}
    for name in ("weights", "freq_weights"):
        given = getattr(arguments, name)
        if given is not None:
            positions[name] = len(columns)
            columns.append(_weights(name, given, data))
    records = Records(columns)
    if arguments.missing == "raise":
        refuse_missing(columns)
    return Model(formula, classes, Layout(dependent, **positions)), records


def _weights(name: str, given: Any, data: Any) -> Column:
    if isinstance(given, str):
        try:
            given = Table(data)[given]
        except KeyError:
            raise DataError(f"{name}={given!r} names no column of the data.") from None
    column = numbers(f"the argument {name}", given)
    if column.values.size and np.nanmin(column.values) < 0:
        raise DataError(f"{start(column.name)} has negative values: weights are 0 or more.")
    return column


def _robust(made: Fit, records: Records, arguments: _Arguments) -> np.ndarray | None:
    return None if arguments.vcov == "nonrobust" else robust_covariance(made, records, arguments.vcov)


def _linear_extras(made: Fit, records: Records, arguments: _Arguments) -> Extras:
    extras = Extras(arguments.vcov, _robust(made, records, arguments))
    layout, design = made.layout, made.design
    needs_total = design.spans_constant and not design.has_intercept
    if layout.weights is None and not needs_total:
        return extras
    used = UsedRecords(made, records)
    extras.sum_log_weights = used.sum_log_weights()
    if needs_total:
        extras.centered_total = used.centered_total()
    return extras
