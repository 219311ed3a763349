"""The functions that fit a formula to data."""

from __future__ import annotations

import warnings
from collections.abc import Iterator, Mapping
from contextlib import contextmanager
from dataclasses import dataclass, fields
from typing import Any

from ._arguments import one_of, positive
from ._checks import Response, lost_bases, lost_columns
from ._expressions import patsy_module
from ._files import is_path, opened
from ._fit import Fit, Options, fit
from ._formula import Formula
from ._library import FIRST_OBSERVED
from ._model import Extras, Model, Weights
from ._pmml_model import level_texts
from ._progress import reporter
from ._record_digest import RecordDigest
from ._record_sums import UsedRecords, robust_covariance
from ._records import ChunkedRecords, Records
from ._tables import Tables, listed
from .errors import ArgumentError, DataError, DataWarning, QvregError
from .results import KINDS, LinearResults, LogitResults, MNLogitResults

__all__ = ["fit_chunks", "logit", "mnlogit", "ols"]

_COVARIANCES = ("nonrobust", "hc0", "hc1")


@dataclass
class Arguments:
    """What the functions have in common."""

    weights: Any = None
    freq_weights: Any = None
    missing: str = "drop"
    threads: int | None = None
    vcov: str = "nonrobust"
    base: Mapping[str, Any] | None = None
    progress: Any = False
    reference: Any = None
    max_iterations: int = 100

    @classmethod
    def of(cls, options: dict[str, Any], without: tuple = ()) -> Arguments:
        """Those that `options` names; an exception for a name that is none, or is one of `without`."""
        known = [field.name for field in fields(cls) if field.name not in without]
        for name in options:
            if name not in known:
                raise ArgumentError(f"There is no option {name!r}. Choose among {', '.join(known)}.")
        return cls(**options)

    def __post_init__(self) -> None:
        one_of("missing", self.missing, ("drop", "raise"))
        self.vcov = self.vcov.lower() if isinstance(self.vcov, str) else self.vcov
        one_of("vcov", self.vcov, _COVARIANCES)
        if self.threads is not None:
            positive("threads", self.threads, ", or None for as many as the machine has cores")
        self.max_iterations = positive("max_iterations", self.max_iterations)
        if self.base is not None and not isinstance(self.base, Mapping):
            raise ArgumentError(f"base={self.base!r}: a level by the name of its factor is needed, as in "
                                "base={'species': 'Gentoo'}.")


def ols(formula: str, data: Any, *, weights: Any = None, freq_weights: Any = None,
        missing: str = "drop", threads: int | None = None, vcov: str = "nonrobust",
        base: Mapping[str, Any] | None = None, progress: Any = False) -> LinearResults:
    """Fits a linear model by least squares.

    Parameters
    ----------
    formula : str
        As of patsy: ``"mass ~ species*sex + length"``. Factors have treatment coding with their first
        level as base.
    data : DataFrame, dict of arrays, structured array or path
        The columns that the formula names. A path, a text or a `pathlib.Path`, names a CSV, Parquet or JSON
        file, or a pattern of files, which the command ``qvreg`` reads; memory holds none of its columns
        whole, but those of which terms compute something.
    weights : str or array_like, optional
        Precision of each row, the inverse of its variance, as 4 for the mean of four measurements: a
        column's name, or values in the order of the rows, whatever their index. Rows of weight 0 are
        left out and not counted in ``nobs``.
    freq_weights : str or array_like, optional
        How many observations each row stands for, as 3 for three equal rows: whole numbers, given as
        `weights` are.
    missing : {"drop", "raise"}
        Whether rows with missing values are left out, or refused.
    threads : int, optional
        On how many threads to fit; by default as many as the machine has cores. Results are the same,
        to the last bit, for any number.
    vcov : {"nonrobust", "hc0", "hc1"}
        The covariance matrix of the estimates: that of equal variances, or White's, "hc1" times
        n / (n - parameters), in capitals or not. That factor is in "hc1" of logistic models, too, where
        statsmodels has none.
    base : mapping, optional
        The base level of factors by their names, as in ``{"species": "Gentoo"}``.
        A level without a row that can be used is none: the last that has rows takes its place, and a
        `DataWarning` names both.
    progress : bool or callable
        Taken as of `logit`; a linear model has no iterations to show.

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
    arguments = Arguments(weights, freq_weights, missing, threads, vcov, base, progress)
    environment = patsy_module().EvalEnvironment.capture(1)
    with _tables("ols", formula, data, environment, arguments) as tables:
        return fit_formula("ols", formula, tables, environment, arguments)


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
    arguments = Arguments(weights, freq_weights, missing, threads, vcov, base, progress, reference,
                           max_iterations)
    environment = patsy_module().EvalEnvironment.capture(1)
    with _tables("logit", formula, data, environment, arguments) as tables:
        return fit_formula("logit", formula, tables, environment, arguments)


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
    arguments = Arguments(weights, freq_weights, missing, threads, vcov, base, progress, reference,
                           max_iterations)
    environment = patsy_module().EvalEnvironment.capture(1)
    with _tables("mnlogit", formula, data, environment, arguments) as tables:
        return fit_formula("mnlogit", formula, tables, environment, arguments)


def fit_chunks(read: Any, formula: str, model: str = "ols", **options: Any) -> Any:
    """Fits a model to data that are read in chunks, in every pass again.

    Parameters
    ----------
    read : callable or iterable
        A function that starts reading and returns an iterable of tables, or a list of tables. A
        linear model reads four times, a logistic one five times and once for every iteration; a
        robust covariance and functions such as `center` read once more.
    formula : str
        As of `ols`. Every term has to be that of its own row: terms such as ``x.shift(1)``, which
        need rows of other chunks, are refused where the first rows of a chunk show it.
    model : {"ols", "logit", "mnlogit"}
        The function whose results are wanted.
    **options
        Those of that function. Weights are names of columns. `threads` has no effect: chunks come one
        after the other, so that results do not depend on where they end.

    Returns
    -------
    LinearResults, LogitResults or MNLogitResults

    Examples
    --------
    >>> import qvreg
    >>> def read():
    ...     yield {"y": [1.0, 2.0], "x": [0.0, 1.0]}
    ...     yield {"y": [2.5, 4.5], "x": [2.0, 3.0]}
    >>> print(qvreg.fit_chunks(read, "y ~ x").params.round(3).to_string())
    Intercept    0.85
    x            1.10
    """
    one_of("model", model, tuple(KINDS))
    environment = patsy_module().EvalEnvironment.capture(1)
    return fit_formula(model, formula, Tables.chunks(read), environment, Arguments.of(options))


@contextmanager
def _tables(kind: str, text: str, data: Any, environment: Any, arguments: Arguments) -> Iterator[Tables]:
    """The data of a fit; the columns of a file while they are there."""
    if not is_path(data):
        yield Tables.whole(data)
        return
    weights = [name for name in (arguments.weights, arguments.freq_weights) if isinstance(name, str)]
    formula = Formula(text, environment)
    with opened(data, formula.expressions, kind != "ols", weights, arguments.threads) as columns:
        yield Tables.whole(columns)


def fit_formula(kind: str, text: str, tables: Tables, environment: Any, arguments: Arguments) -> Any:
    formula = Formula(text, environment)
    response = Response(f"The response {formula.response!r}", has_classes=kind != "ols")
    lesson = tables.teach(formula, response)
    formula.learn(lesson, arguments.base or {})
    classes = lesson.response.classes(is_binary=kind == "logit")
    weights = Weights(arguments.weights, arguments.freq_weights)
    model = Model.of(kind, formula, classes, weights)
    options = _class_options(model, arguments)
    records = tables.records(model, weights)
    if arguments.missing == "raise":
        records.refuse_missing()
    digest = _digest(model) if isinstance(records, (Records, ChunkedRecords)) else None
    if digest is not None and isinstance(records, ChunkedRecords):
        records.see = digest.add
    shown = arguments.progress if kind != "ols" or callable(arguments.progress) else False
    with reporter(shown) as progress:
        made = fit(formula.design, records, model.layout,
                   Options(threads=arguments.threads or 0, progress=progress, **options))
    _check_reference(model, made, arguments.reference)
    if digest is not None and isinstance(records, Records):
        digest.add(records, are_all_used=made.counts.used == made.counts.read)
    extras = _extras(made, records, arguments)
    extras.digest = None if digest is None else digest.text
    results = KINDS[kind](model, made, extras)
    for doubt in [*formula.doubts, *lost_columns(made, records), *lost_bases(made)]:
        warnings.warn(doubt, DataWarning, stacklevel=3)
    results.warn()
    return results


def _class_options(model: Model, arguments: Arguments) -> dict[str, Any]:
    """What a model of classes has to be told."""
    classes = model.classes
    if classes is None:
        return {}
    reference = arguments.reference
    if reference is not None and reference not in classes:
        raise DataError(f"The response {model.formula.response!r} has no class {reference!r} to be the "
                        f"reference. Its classes are {listed(classes)}.")
    return {"n_categories": len(classes), "max_iterations": arguments.max_iterations,
            "reference": FIRST_OBSERVED if reference is None else classes.index(reference)}


def _check_reference(model: Model, made: Fit, reference: Any) -> None:
    """An exception where no row of the class that was to be the `reference` was used."""
    if reference is not None and model.classes.index(reference) not in made.categories:
        raise DataError(f"The class {reference!r} of the response {model.formula.response!r} is to be the reference, "
                        "and no row of it can be used. Rows are left out for missing values and for weights of 0.")


def _digest(model: Model) -> RecordDigest | None:
    """That of the records to be used; None where the classes have no texts in a table."""
    if model.classes is None:
        return RecordDigest(model.layout, None)
    try:
        return RecordDigest(model.layout, level_texts(model.formula.response, model.classes)[0])
    except QvregError:
        return None


def _extras(made: Fit, records: Records | ChunkedRecords, arguments: Arguments) -> Extras:
    extras = Extras(arguments.vcov)
    if arguments.vcov != "nonrobust":
        extras.robust_covariance = robust_covariance(made, records, arguments.vcov)
    if not made.is_linear:
        return extras
    used = UsedRecords(made, records)
    if made.layout.weights is not None:
        extras.sum_log_weights = used.sum_log_weights()
    if made.design.spans_constant and not made.design.has_intercept:
        extras.centered_total = used.centered_total()
    return extras
