"""Estimators for scikit-learn: linear and logistic regression without a penalty.

Examples
--------
>>> import numpy as np
>>> from qvreg.sklearn import LinearRegression
>>> X = np.array([[0.0], [1.0], [2.0], [3.0]])
>>> LinearRegression().fit(X, [1.0, 2.0, 2.5, 4.5]).coef_.round(3)
array([1.1])
"""

from __future__ import annotations

import os
import warnings
from collections.abc import Mapping
from dataclasses import dataclass
from numbers import Real
from typing import Any

import numpy as np
from sklearn.base import BaseEstimator, ClassifierMixin, RegressorMixin
from sklearn.exceptions import ConvergenceWarning as SklearnConvergenceWarning
from sklearn.utils.class_weight import compute_class_weight
from sklearn.utils.multiclass import check_classification_targets
from sklearn.utils.validation import _check_sample_weight, check_is_fitted

from . import errors
from ._arguments import is_whole, positive
from ._columns import FAR_SPREADS, Column, offsets
from ._design import Design, Part, Term, Variable
from ._fit import Fit, Layout, Options, fit
from ._library import FIRST_OBSERVED
from ._records import Records
from .errors import ArgumentError, DataError, SeparationWarning

try:  # from scikit-learn 1.6 on a function
    from sklearn.utils.validation import validate_data as _validate
except ImportError:

    def _validate(estimator: BaseEstimator, *arguments: Any, **options: Any) -> Any:
        return estimator._validate_data(*arguments, **options)


__all__ = ["ConvergenceWarning", "LinearRegression", "LogisticRegression"]


class ConvergenceWarning(errors.ConvergenceWarning, SklearnConvergenceWarning):
    """That of the package, and of scikit-learn."""


# Types that the library reads without a copy.
_TYPES = [np.float64, np.float32]
# Rows that tell whether a column may be far from 0.
_FIRST_ROWS = 1000


def _threads(n_jobs: int | None) -> int:
    if n_jobs is None:
        return 1
    if is_whole(n_jobs) and n_jobs < 0:  # as joblib: all cores but so many
        return 0 if n_jobs == -1 else max(1, (os.cpu_count() or 1) + 1 + int(n_jobs))
    return positive("n_jobs", n_jobs, ", -1 for as many threads as the machine has cores, -2 for one less, or None "
                                      "for one")


def is_true(name: str, value: Any) -> bool:
    if not isinstance(value, (bool, np.bool_, int)):
        raise ArgumentError(f"{name}={value!r}: True or False is needed.")
    return bool(value)


def _fit_arrays(X: np.ndarray, response: Column, weights: np.ndarray | None, fit_intercept: bool,
                options: Options) -> ArrayFit:
    """Fits a model whose terms are the columns of `X`."""
    moved = _offsets(X) if fit_intercept else np.zeros(X.shape[1])
    design, layout = array_model(X.shape[1], fit_intercept, weights is not None)
    records = Records(array_columns(X, response, weights, moved))
    return ArrayFit(fit(design, records, layout, options), fit_intercept, moved)


def array_model(n_features: int, fit_intercept: bool, has_weights: bool) -> tuple[Design, Layout]:
    """The model whose terms are so many columns."""
    design = Design([Variable(f"x{j}") for j in range(n_features)],
                    [Term((Part(j),)) for j in range(n_features)],
                    has_intercept=fit_intercept, spans_constant=fit_intercept)
    return design, Layout(n_features, weights=n_features + 1 if has_weights else None)


def array_columns(X: np.ndarray, response: Column, weights: np.ndarray | None, moved: np.ndarray) -> list[Column]:
    """The columns of that model's records; `moved` is subtracted from those of `X`."""
    columns = [Column(f"Column {j}", _moved(X[:, j], offset)) for j, offset in enumerate(moved)]
    columns.append(response)
    if weights is not None:
        columns.append(Column("sample_weight", weights))
    return columns


def _offsets(X: np.ndarray) -> np.ndarray:
    """What to subtract from the columns of `X`, found in those alone whose first rows are far from 0 or equal."""
    first = X[:_FIRST_ROWS].astype(np.float64)
    lowest, highest = first.min(axis=0), first.max(axis=0)
    found = np.zeros(X.shape[1])
    # Half of what makes a column far from 0: rows that follow may bring its middle nearer.
    for j in np.flatnonzero(np.abs(lowest + highest) > FAR_SPREADS * (highest - lowest)):
        found[j] = offsets(X[:, j].min(), X[:, j].max())
    return found


def _moved(values: np.ndarray, offset: float) -> np.ndarray:
    return np.subtract(values, offset, dtype=np.float64) if offset else values


@dataclass
class ArrayFit:
    """A fit to arrays, and what was subtracted from their columns."""

    fit: Fit
    has_intercept: bool
    offsets: np.ndarray

    def split(self, equation: int) -> tuple[float, np.ndarray]:
        """The intercept and the other estimates of an equation, for the columns as they were."""
        estimates = self.fit.all_estimates[equation]
        if not self.has_intercept:
            return 0.0, estimates.copy()
        coefficients = estimates[1:].copy()
        return float(estimates[0] - coefficients @ self.offsets), coefficients


def _weights(sample_weight: Any, X: np.ndarray) -> np.ndarray | None:
    if sample_weight is None:
        return None
    return _check_sample_weight(sample_weight, X, dtype=np.float64, only_non_negative=True)


class LinearRegression(RegressorMixin, BaseEstimator):
    """Least squares without a penalty.

    Parameters
    ----------
    fit_intercept : bool, default=True
        Whether there is an intercept.
    n_jobs : int, optional
        How many threads fit: one by default, -1 for as many as the machine has cores, -2 for one less.

    Attributes
    ----------
    coef_ : ndarray of shape (n_features,)
        The estimates, 0 for a column that depends on those before it.
    intercept_ : float
        The intercept, 0 without one.
    n_features_in_ : int
        How many columns there were.
    feature_names_in_ : ndarray of shape (n_features_in_,)
        Their names, where all are text.
    """

    def __init__(self, *, fit_intercept: bool = True, n_jobs: int | None = None) -> None:
        self.fit_intercept = fit_intercept
        self.n_jobs = n_jobs

    def fit(self, X: Any, y: Any, sample_weight: Any = None) -> "LinearRegression":
        """Fits the model.

        Parameters
        ----------
        X : array_like of shape (n_samples, n_features)
        y : array_like of shape (n_samples,)
        sample_weight : array_like of shape (n_samples,), optional
            Weights from 0 on.
        """
        X, y = _validate(self, X, y, dtype=_TYPES, y_numeric=True)
        made = _fit_arrays(X, Column("y", np.asarray(y, dtype=np.float64)), _weights(sample_weight, X),
                           is_true("fit_intercept", self.fit_intercept), Options(threads=_threads(self.n_jobs)))
        self.intercept_, self.coef_ = made.split(0)
        return self

    def predict(self, X: Any) -> np.ndarray:
        """The predicted mean of every row of `X`."""
        check_is_fitted(self)
        X = _validate(self, X, dtype=_TYPES, reset=False)
        return X @ self.coef_ + self.intercept_


class LogisticRegression(ClassifierMixin, BaseEstimator):
    """Binary and multinomial logistic regression without a penalty.

    Where the columns separate the classes, the likelihood has no maximum: a `SeparationWarning` says
    so, and the last estimates are kept.

    Parameters
    ----------
    penalty : {None, "none"}
        None: there is no other. It is there for code that says so.
    fit_intercept : bool, default=True
        Whether there are intercepts.
    tol : float, default=1e-6
        The iterations end when no estimate changes by more than this share of it.
    max_iter : int, default=100
        The most iterations.
    n_jobs : int, optional
        How many threads fit: one by default, -1 for as many as the machine has cores, -2 for one less.
    class_weight : dict or "balanced", optional
        Factors of the weights of rows by class, 1 for a class that is not named; "balanced" for factors
        that give all classes the same share of the rows.

    Attributes
    ----------
    classes_ : ndarray of shape (n_classes,)
        The classes, sorted.
    coef_ : ndarray of shape (1, n_features) or (n_classes, n_features)
        The estimates: of two classes those of the second one, of more those of every class against
        the first one, whose row is 0.
    intercept_ : ndarray of shape (1,) or (n_classes,)
        The intercepts.
    n_iter_ : ndarray of shape (1,)
        How many iterations there were.
    n_features_in_ : int
        How many columns there were.
    feature_names_in_ : ndarray of shape (n_features_in_,)
        Their names, where all are text.
    """

    def __init__(self, *, penalty: str | None = None, fit_intercept: bool = True, tol: float = 1e-6,
                 max_iter: int = 100, n_jobs: int | None = None,
                 class_weight: Mapping[Any, float] | str | None = None) -> None:
        self.penalty = penalty
        self.fit_intercept = fit_intercept
        self.tol = tol
        self.max_iter = max_iter
        self.n_jobs = n_jobs
        self.class_weight = class_weight

    def fit(self, X: Any, y: Any, sample_weight: Any = None) -> "LogisticRegression":
        """Fits the model.

        Parameters
        ----------
        X : array_like of shape (n_samples, n_features)
        y : array_like of shape (n_samples,)
            Classes.
        sample_weight : array_like of shape (n_samples,), optional
            Weights from 0 on.
        """
        self._check_arguments()
        X, y = _validate(self, X, y, dtype=_TYPES)
        check_classification_targets(y)
        self.classes_, codes = np.unique(y, return_inverse=True)
        options = self._options(_threads(self.n_jobs))
        made = _fit_arrays(X, Column("y", codes), self._class_weights(codes, y, _weights(sample_weight, X)),
                           is_true("fit_intercept", self.fit_intercept), options)
        self._keep(made)
        return self

    def _check_arguments(self) -> None:
        if self.penalty not in (None, "none"):
            raise ArgumentError(f"penalty={self.penalty!r}: only None is possible. sklearn.linear_model has penalties.")
        positive("max_iter", self.max_iter)
        if not isinstance(self.tol, Real) or not self.tol > 0:
            raise ArgumentError(f"tol={self.tol!r}: a number above 0 is needed.")

    def _options(self, threads: int) -> Options:
        """How to fit the classes that were found."""
        if len(self.classes_) < 2:
            raise DataError(f"y has one class only ({self.classes_[0]!r}): two are needed.")
        return Options(n_categories=len(self.classes_), reference=FIRST_OBSERVED, threads=threads,
                       max_iterations=int(self.max_iter), tolerance=self.tol)

    def _class_weights(self, codes: np.ndarray, y: np.ndarray, weights: np.ndarray | None) -> np.ndarray | None:
        """`weights` times those of the classes."""
        if self.class_weight is None:
            return weights
        if isinstance(self.class_weight, str) and self.class_weight != "balanced":
            raise ArgumentError(f"class_weight={self.class_weight!r} is not known. Choose 'balanced', weights by class "
                                "as a dict, or None.")
        factors = compute_class_weight(self.class_weight, classes=self.classes_, y=y)
        if not np.all(factors >= 0):
            raise ArgumentError(f"class_weight={self.class_weight!r}: weights from 0 on are needed.")
        return factors[codes] if weights is None else factors[codes] * weights

    def _keep(self, arrays: ArrayFit) -> None:
        """Takes the estimates: a row per class, a class without weight being impossible."""
        made = arrays.fit
        intercepts = np.full(len(self.classes_), -np.inf)
        coefficients = np.zeros((len(self.classes_), self.n_features_in_))
        intercepts[made.categories[-1]] = 0.0
        for equation, code in enumerate(made.categories[:-1]):
            intercepts[code], coefficients[code] = arrays.split(equation)
        if len(self.classes_) == 2:
            intercepts, coefficients = intercepts[1:], coefficients[1:]
        self.intercept_, self.coef_ = intercepts, coefficients
        self.n_iter_ = np.array([made.iterations], dtype=np.int32)
        if made.separation:
            warnings.warn(f"The columns separate the classes ({made.separation} separation): the likelihood has no "
                          "maximum at finite estimates, and the last ones are kept.", SeparationWarning,
                          stacklevel=3)
        elif not made.converged:
            warnings.warn(f"The estimates did not converge in {made.iterations} iterations: the last ones are kept. "
                          "Raise max_iter, or bring the columns to one scale.", ConvergenceWarning,
                          stacklevel=3)

    def decision_function(self, X: Any) -> np.ndarray:
        """Linear predictors: of two classes that of the second one, of more a column per class."""
        check_is_fitted(self)
        X = _validate(self, X, dtype=_TYPES, reset=False)
        predictors = X @ self.coef_.T + self.intercept_
        return predictors[:, 0] if predictors.shape[1] == 1 else predictors

    def predict_proba(self, X: Any) -> np.ndarray:
        """The probability of every class, in the order of ``classes_``."""
        predictors = self.decision_function(X)
        if predictors.ndim == 1:
            predictors = np.column_stack([np.zeros_like(predictors), predictors])
        powers = np.exp(predictors - predictors.max(axis=1, keepdims=True))
        return powers / powers.sum(axis=1, keepdims=True)

    def predict_log_proba(self, X: Any) -> np.ndarray:
        """Logarithms of the probabilities."""
        with np.errstate(divide="ignore"):
            return np.log(self.predict_proba(X))

    def predict(self, X: Any) -> np.ndarray:
        """The most probable class of every row of `X`."""
        predictors = self.decision_function(X)
        if predictors.ndim == 1:
            return self.classes_[(predictors > 0).astype(np.intp)]
        return self.classes_[predictors.argmax(axis=1)]
