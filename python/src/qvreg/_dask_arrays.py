"""The estimators of `qvreg.dask`: those of `qvreg.sklearn` for arrays and DataFrames of Dask."""

from __future__ import annotations

from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from functools import partial
from typing import Any

import dask
import numpy as np
from sklearn.utils.multiclass import check_classification_targets
from sklearn.utils.validation import check_array, check_is_fitted, column_or_1d

from . import sklearn as plain
from ._columns import Column, offsets
from ._dask_cluster import Tasks, cluster_client, opened
from ._dask_parts import ClusterRecords, of_part
from ._fit import Options, fit
from ._records import Records
from .errors import DataError

_TIMEOUT = 300.0


@dataclass
class _Rows:
    """Some rows of X, y and weights."""

    X: np.ndarray
    y: np.ndarray
    weights: np.ndarray | None


@dataclass
class _Seen:
    """What rows have shown: the ranges of the columns of X, and the classes of y."""

    n_rows: int
    lowest: np.ndarray
    highest: np.ndarray
    classes: np.ndarray

    def joined(self, other: _Seen) -> _Seen:
        if len(self.lowest) != len(other.lowest):
            raise DataError(f"X has {len(self.lowest)} columns in some partitions and {len(other.lowest)} in others.")
        return _Seen(self.n_rows + other.n_rows, np.minimum(self.lowest, other.lowest),
                     np.maximum(self.highest, other.highest), np.union1d(self.classes, other.classes))


@of_part
def _rows(_number: int, part: tuple, has_classes: bool) -> _Rows:
    X, y, weights = part
    try:
        X = check_array(X, dtype=[np.float64, np.float32], ensure_min_samples=0, input_name="X")
        y = column_or_1d(y)
        if has_classes and len(y):
            check_classification_targets(y)
        elif not has_classes:
            y = check_array(y, ensure_2d=False, dtype=np.float64, ensure_min_samples=0, input_name="y")
        if weights is not None:
            weights = check_array(weights, ensure_2d=False, dtype=np.float64, ensure_min_samples=0,
                                  input_name="sample_weight")
    except ValueError as error:
        raise DataError(str(error)) from None
    for name, values in (("y", y), ("sample_weight", weights)):
        if values is not None and len(values) != len(X):
            raise DataError(f"X has {len(X)} rows, {name} has {len(values)}: all need as many.")
    if weights is not None and len(weights) and weights.min() < 0:
        raise DataError("sample_weight has negative values: weights are 0 or more.")
    return _Rows(X, y, weights)


@of_part
def _see(_number: int, rows: _Rows, has_classes: bool) -> _Seen:
    return _Seen(len(rows.X), rows.X.min(axis=0, initial=np.inf).astype(np.float64),
                 rows.X.max(axis=0, initial=-np.inf).astype(np.float64),
                 np.unique(rows.y) if has_classes else np.empty(0))


def _join_seen(first: _Seen, second: _Seen) -> _Seen:
    # Blocks without rows may have a y of another type.
    return (first if not second.n_rows else second if not first.n_rows else first.joined(second))


@of_part
def _records(_number: int, rows: _Rows, made: bytes) -> Records:
    moved, classes = opened(made)
    response = rows.y if classes is None else np.searchsorted(classes, rows.y).astype(np.int64)
    return Records(plain.array_columns(rows.X, Column("y", response), rows.weights, moved))


def _blocks(name: str, values: Any) -> np.ndarray:
    """The parts of a Dask array or DataFrame, all columns of its rows together."""
    if not hasattr(values, "to_delayed"):
        raise DataError(f"{name} is {type(values).__name__}: an array or a DataFrame of Dask is needed. The estimators "
                        "of qvreg.sklearn take what is in memory.")
    if getattr(values, "ndim", 1) == 2 and hasattr(values, "rechunk") and values.numblocks[1] > 1:
        values = values.rechunk({1: -1})
    return np.ravel(values.to_delayed())


def _parts(X: Any, y: Any, weights: Any) -> list[tuple]:
    """Parts of X, y and weights, row for row."""
    blocks = [_blocks(name, values) for name, values in (("X", X), ("y", y), ("sample_weight", weights))
              if values is not None]
    for name, others in zip(("y", "sample_weight"), blocks[1:]):
        if len(others) != len(blocks[0]):
            raise DataError(f"X has {len(blocks[0])} partitions, {name} has {len(others)}: all need as many, of the "
                            "same rows. Rechunk or repartition them.")
    return [tuple(part) if weights is not None else (*part, None) for part in zip(*blocks)]


class _OnCluster:
    """What both estimators have in common: fits over partitions, and predictions of them."""

    client: Any
    timeout: float
    fit_intercept: bool

    @contextmanager
    def _tasks(self) -> Iterator[Tasks]:
        tasks = Tasks(cluster_client(self.client), self.timeout)
        try:
            yield tasks
        finally:
            tasks.release()

    def _look(self, tasks: Tasks, X: Any, y: Any, weights: Any, has_classes: bool) -> tuple[list, _Seen]:
        """The rows of the partitions, held by the cluster, and what is seen of all."""
        rows = tasks.hold(tasks.each("rows", _rows, [dask.delayed(part) for part in _parts(X, y, weights)],
                                     has_classes))
        seen = tasks.result(tasks.joined("ranges", _join_seen, tasks.each("ranges", _see, rows, has_classes)), rows)
        if seen.n_rows == 0:
            raise DataError("The data have no rows.")
        self.n_features_in_ = len(seen.lowest)
        names = np.asarray(getattr(X, "columns", ()), dtype=object)
        if len(names) and all(isinstance(name, str) for name in names):
            self.feature_names_in_ = names
        return rows, seen

    def _fit_parts(self, tasks: Tasks, rows: list, seen: _Seen, has_weights: bool, options: Options) -> plain.ArrayFit:
        fit_intercept = plain.is_true("fit_intercept", self.fit_intercept)
        moved = offsets(seen.lowest, seen.highest) if fit_intercept else np.zeros(len(seen.lowest))
        made = tasks.value((moved, None if options.n_categories is None else self.classes_), "records", "model")
        parts = tasks.hold(tasks.each("records", _records, rows, made))
        tasks.release(rows)
        design, layout = plain.array_model(len(moved), fit_intercept, has_weights)
        names = [f"Column {j}" for j in range(len(moved))] + ["y", "sample_weight"][:1 + has_weights]
        return plain.ArrayFit(fit(design, ClusterRecords(tasks, parts, names), layout, options), fit_intercept, moved)

    def _mapped(self, kind: type, method: str, X: Any, width: int = 0) -> Any:
        """What `method` of the estimator in memory, of that `kind`, says of every part of `X`."""
        check_is_fitted(self)
        local = kind()
        local.__dict__.update({name: value for name, value in self.__dict__.items() if name.endswith("_")})
        if not hasattr(X, "to_delayed"):
            return getattr(local, method)(X)
        apply = partial(_apply, local, method, width)
        sample = apply(np.empty((0, self.n_features_in_)))
        if hasattr(X, "map_partitions"):
            return X.map_partitions(apply, meta=sample)
        X = X.rechunk({1: -1})
        if width:
            return X.map_blocks(apply, dtype=sample.dtype, chunks=(X.chunks[0], (width,)), meta=sample)
        return X.map_blocks(apply, dtype=sample.dtype, drop_axis=1, meta=sample)


def _apply(local: Any, method: str, width: int, X: Any) -> np.ndarray:
    if len(X):
        return getattr(local, method)(X)
    kind = local.classes_.dtype if method == "predict" and hasattr(local, "classes_") else np.float64
    return np.empty((0, width) if width else 0, kind)


class LinearRegression(_OnCluster, plain.LinearRegression):
    """Least squares without a penalty, over partitions.

    Parameters
    ----------
    fit_intercept : bool, default=True
        Whether there is an intercept.
    client : distributed.Client, optional
        The cluster; that of the caller, by default.
    timeout : float, default=300.0
        For how many seconds to wait while the cluster has no worker.

    Attributes
    ----------
    coef_, intercept_, n_features_in_, feature_names_in_
        As of `qvreg.sklearn.LinearRegression`.
    """

    def __init__(self, *, fit_intercept: bool = True, client: Any = None, timeout: float = _TIMEOUT) -> None:
        super().__init__(fit_intercept=fit_intercept)
        del self.n_jobs
        self.client = client
        self.timeout = timeout

    def fit(self, X: Any, y: Any, sample_weight: Any = None) -> LinearRegression:
        """Fits the model.

        Parameters
        ----------
        X : array or DataFrame of Dask, of shape (n_samples, n_features)
        y : array or Series of Dask, of shape (n_samples,)
            In as many partitions as `X`, of the same rows.
        sample_weight : array or Series of Dask, of shape (n_samples,), optional
            Weights from 0 on.
        """
        with self._tasks() as tasks:
            rows, seen = self._look(tasks, X, y, sample_weight, has_classes=False)
            made = self._fit_parts(tasks, rows, seen, sample_weight is not None, Options())
        self.intercept_, self.coef_ = made.split(0)
        return self

    def predict(self, X: Any) -> Any:
        """The predicted mean of every row of `X`: of Dask for what is of Dask, else an array."""
        return self._mapped(plain.LinearRegression, "predict", X)


class LogisticRegression(_OnCluster, plain.LogisticRegression):
    """Binary and multinomial logistic regression without a penalty, over partitions.

    Parameters
    ----------
    penalty, fit_intercept, tol, max_iter
        As of `qvreg.sklearn.LogisticRegression`.
    client : distributed.Client, optional
        The cluster; that of the caller, by default.
    timeout : float, default=300.0
        For how many seconds to wait while the cluster has no worker.

    Attributes
    ----------
    classes_, coef_, intercept_, n_iter_, n_features_in_, feature_names_in_
        As of `qvreg.sklearn.LogisticRegression`.
    """

    def __init__(self, *, penalty: str | None = None, fit_intercept: bool = True, tol: float = 1e-6,
                 max_iter: int = 100, client: Any = None, timeout: float = _TIMEOUT) -> None:
        super().__init__(penalty=penalty, fit_intercept=fit_intercept, tol=tol, max_iter=max_iter)
        del self.n_jobs
        self.client = client
        self.timeout = timeout

    def fit(self, X: Any, y: Any, sample_weight: Any = None) -> LogisticRegression:
        """Fits the model.

        Parameters
        ----------
        X : array or DataFrame of Dask, of shape (n_samples, n_features)
        y : array or Series of Dask, of shape (n_samples,)
            Classes, in as many partitions as `X`, of the same rows.
        sample_weight : array or Series of Dask, of shape (n_samples,), optional
            Weights from 0 on.
        """
        self._check_arguments()
        with self._tasks() as tasks:
            rows, seen = self._look(tasks, X, y, sample_weight, has_classes=True)
            self.classes_ = seen.classes
            made = self._fit_parts(tasks, rows, seen, sample_weight is not None, self._options(1))
        self._keep(made)
        return self

    def decision_function(self, X: Any) -> Any:
        """Linear predictors, as of `qvreg.sklearn.LogisticRegression`."""
        width = 0 if len(getattr(self, "classes_", ())) == 2 else len(getattr(self, "classes_", ()))
        return self._mapped(plain.LogisticRegression, "decision_function", X, width)

    def predict_proba(self, X: Any) -> Any:
        """The probability of every class, in the order of ``classes_``."""
        return self._mapped(plain.LogisticRegression, "predict_proba", X, len(getattr(self, "classes_", ())))

    def predict_log_proba(self, X: Any) -> Any:
        """Logarithms of the probabilities."""
        return self._mapped(plain.LogisticRegression, "predict_log_proba", X, len(getattr(self, "classes_", ())))

    def predict(self, X: Any) -> Any:
        """The most probable class of every row of `X`."""
        return self._mapped(plain.LogisticRegression, "predict", X)
