"""Results of fits, with the names and shapes that users of statsmodels know."""

from __future__ import annotations

import os
import warnings
from functools import cached_property
from typing import Any

import numpy as np

from . import _distributions as dist
from . import _library as lib
from ._arguments import share
from ._expressions import SAVED_NAMES
from ._fit import Fit
from ._labels import frame, index_of, series
from ._library import restore
from ._model import Extras, Model
from ._prediction import Prediction
from ._saving import pack, unpack, write_file
from ._summary import SummaryTable, linear_summary, logistic_summary
from .errors import ConvergenceWarning, SeparationWarning

__all__ = ["LinearResults", "LogitResults", "MNLogitResults", "Prediction", "Results", "load"]


class Results:
    """What all models have.

    Attributes
    ----------
    names
        What the parameters are called.
    params, bse, tvalues, pvalues
        Estimates, their standard errors, the estimates over these, and two-sided p values. As all that
        is here a Series or a DataFrame, they are arrays where pandas is not installed.
    nobs, df_model, df_resid
        How many observations were used (the sum of ``freq_weights``), how many parameters there are
        beside constants, and the observations less all parameters.
    llf, aic, bic
        The log-likelihood and the criteria made of it.
    redundant
        Names of the columns that the data do not determine, since they depend on others or have no
        observation. They are in none of the other results.
    """

    def __init__(self, model: Model, fit: Fit, extras: Extras, covariance: np.ndarray,
                 use_t: bool) -> None:
        self.model = model
        self._fit = fit
        self._extras = extras
        self._full_covariance = covariance
        self._covariance = covariance[np.ix_(fit.shown, fit.shown)]
        self.cov_type = extras.cov_type
        self.use_t = use_t
        self.nobs = float(fit.total_weight)
        self._n_constants = int(fit.design.spans_constant) * fit.n_equations
        self._n_parameters = fit.estimates.size
        self.df_model = float(self._n_parameters - self._n_constants)
        self.df_resid = self.nobs - self._n_parameters

    @property
    def _flat(self) -> np.ndarray:
        return self._fit.estimates.ravel()

    @cached_property
    def _standard_errors(self) -> np.ndarray:
        return np.sqrt(np.diag(self._covariance))

    @cached_property
    def _statistics(self) -> np.ndarray:
        with np.errstate(divide="ignore", invalid="ignore"):
            return self._flat / self._standard_errors

    def _p_values(self, statistics: np.ndarray) -> np.ndarray:
        if self.use_t:
            return dist.t_two_sided(statistics, self.df_resid)
        return dist.normal_two_sided(statistics)

    def _quantile(self, alpha: float) -> float:
        return dist.t_quantile(alpha, self.df_resid) if self.use_t else dist.normal_quantile(alpha)

    def _limits(self, alpha: float) -> np.ndarray:
        share("alpha", alpha)
        half = self._quantile(alpha) * self._standard_errors
        return np.column_stack([self._flat - half, self._flat + half])

    def _shaped(self, values: np.ndarray) -> Any:
        return series(values, self._fit.table.names)

    @property
    def names(self) -> list[str]:
        """Names of the parameters of an equation, in their order."""
        return list(self._fit.table.names)

    @property
    def params(self) -> Any:
        """The estimates by name."""
        return self._shaped(self._flat)

    @property
    def bse(self) -> Any:
        """Standard errors of the estimates."""
        return self._shaped(self._standard_errors)

    @property
    def tvalues(self) -> Any:
        """Estimates over standard errors: t, or z where ``use_t`` is false."""
        return self._shaped(self._statistics)

    @property
    def pvalues(self) -> Any:
        """Two-sided p values of the hypotheses that a parameter is 0."""
        return self._shaped(self._p_values(self._statistics))

    def _labels(self) -> list:
        return self._fit.table.names

    def conf_int(self, alpha: float = 0.05) -> Any:
        """Limits of confidence intervals.

        Parameters
        ----------
        alpha : float
            1 less the level of confidence.

        Returns
        -------
        DataFrame or array
            A row per parameter: its lower and upper limit.
        """
        return frame(self._limits(alpha), self._labels(), [0, 1])

    def cov_params(self) -> Any:
        """The covariance matrix of the estimates."""
        return frame(self._covariance, self._labels(), self._labels())

    @cached_property
    def redundant(self) -> list[str]:
        """Names of the columns that the data do not determine."""
        return self._fit.table.redundant()

    def warn(self) -> None:
        """Warns where the estimates are not those of a maximum: never those of a linear model."""

    @property
    def iterations(self) -> int:
        """How many iterations there were: none of a linear model."""
        return self._fit.iterations

    @property
    def aic(self) -> float:
        """Akaike's information criterion."""
        return -2.0 * self.llf + 2.0 * self._n_parameters

    @property
    def bic(self) -> float:
        """Schwarz's information criterion."""
        return -2.0 * self.llf + np.log(self.nobs) * self._n_parameters

    def save(self, path: str | os.PathLike) -> None:
        """Writes the model to a file, which `qvreg.load` reads.

        Parameters
        ----------
        path : str or path
            The file, which is replaced if there is one.
        """
        write_file(path, self._packed())

    def _packed(self) -> bytes:
        return pack({"model": self.model.to_dict(), "extras": self._extras.to_dict()},
                    self._fit.to_bytes())

    def __reduce__(self) -> tuple:
        return _unpickled, (self._packed(),)

    def _summary(self, alpha: float) -> SummaryTable:
        raise NotImplementedError

    def summary(self, alpha: float = 0.05) -> SummaryTable:
        """A table of the fit, for `print` and for notebooks.

        Parameters
        ----------
        alpha : float
            1 less the level of the confidence intervals.
        """
        return self._summary(share("alpha", alpha))

    def _repr_html_(self) -> str:
        return self.summary()._repr_html_()

    def __repr__(self) -> str:
        return f"<{type(self).__name__} of {self.model.formula.text!r} on {self.nobs:g} observations>"


class LinearResults(Results):
    """Results of `qvreg.ols`.

    Attributes
    ----------
    rsquared, rsquared_adj
        R square about the mean, or about 0 where the columns do not span a constant.
    fvalue, f_pvalue
        The F statistic of all parameters beside the constant; Wald's with a robust covariance.
    ssr, mse_resid, scale
        The residual sum of squares, and that over ``df_resid``, twice.
    """

    def __init__(self, model: Model, fit: Fit, extras: Extras) -> None:
        rank = fit.estimates.size
        self.ssr = fit.stat(lib.FIT_RMSE) ** 2 * fit.total_weight
        df_resid = fit.total_weight - rank
        self.mse_resid = self.scale = self.ssr / df_resid if df_resid > 0 else np.nan
        robust = extras.robust_covariance is not None
        covariance = extras.robust_covariance if robust else fit.covariance * self.scale
        super().__init__(model, fit, extras, covariance, use_t=not robust)
        self.rsquared = fit.stat(lib.FIT_R_SQUARE)
        if extras.centered_total is not None:
            self.rsquared = 1.0 - self.ssr / extras.centered_total

    @property
    def separation(self) -> None:
        """Always None: for classes alone."""
        return None

    @property
    def rsquared_adj(self) -> float:
        """R square adjusted for the number of parameters."""
        total = self.nobs - float(self._fit.design.spans_constant)
        return 1.0 - _ratio(total, self.df_resid) * (1.0 - self.rsquared)

    @cached_property
    def fvalue(self) -> float:
        """The F statistic of all parameters beside the constant."""
        if self.df_model <= 0:
            return np.nan
        if self.cov_type != "nonrobust":
            return self._wald()
        unexplained = _ratio(1.0 - self.rsquared, self.df_resid)
        return _ratio(self.rsquared / self.df_model, unexplained)

    def _wald(self) -> float:
        tested = [i for i, index in enumerate(self._fit.table.shown)
                  if self._fit.table.parameters[index].term >= 0]
        estimates = self._flat[tested]
        solved = np.linalg.solve(self._covariance[np.ix_(tested, tested)], estimates)
        return float(estimates @ solved) / len(tested)

    @property
    def f_pvalue(self) -> float:
        """The p value of ``fvalue``."""
        return dist.f_upper(self.fvalue, self.df_model, self.df_resid)

    @property
    def llf(self) -> float:
        """The log-likelihood, with the residual variance at its maximum."""
        half = self.nobs / 2.0
        log_ssr = np.log(self.ssr) if self.ssr > 0 else -np.inf
        return -half * log_ssr - (1.0 + np.log(np.pi / half)) * half + 0.5 * self._extras.sum_log_weights

    def predict(self, data: Any) -> Any:
        """The predicted mean of every row of `data`, NaN where a value is missing.

        Parameters
        ----------
        data : DataFrame, dict of arrays or structured array
            The columns that the formula uses, but for the response.

        Returns
        -------
        Series or array
            As the data have an index or not.
        """
        predicted, _ = self._fit.predict(self.model.new_records(data))
        return _as_rows_of(data, predicted)

    def get_prediction(self, data: Any) -> Prediction:
        """Predicted means of the rows of `data` with standard errors and intervals.

        Parameters
        ----------
        data : DataFrame, dict of arrays or structured array
            The columns that the formula uses, but for the response.
        """
        predicted, errors = self._fit.predict(self.model.new_records(data), self._full_covariance)
        return Prediction(predicted, errors, self.scale, self._quantile, index_of(data))

    def _summary(self, alpha: float) -> SummaryTable:
        return linear_summary(self, alpha)


def _ratio(numerator: float, denominator: float) -> float:
    """A quotient that is not a number, or infinite, where the denominator is 0."""
    with np.errstate(divide="ignore", invalid="ignore"):
        return float(np.float64(numerator) / np.float64(denominator))


def _as_rows_of(data: Any, values: np.ndarray) -> Any:
    index = index_of(data)
    return values if index is None else series(values, index)


class _ClassResults(Results):
    """What models of classes have."""

    def __init__(self, model: Model, fit: Fit, extras: Extras) -> None:
        robust = extras.robust_covariance is not None
        covariance = extras.robust_covariance if robust else fit.covariance
        super().__init__(model, fit, extras, covariance, use_t=False)
        self.llf = fit.log_likelihood

    @property
    def classes(self) -> list:
        """The classes that occur, in their order."""
        return [self.model.classes[code] for code in sorted(self._fit.categories)]

    @property
    def reference(self) -> Any:
        """The class that the others are compared with."""
        return self.model.classes[self._fit.categories[-1]]

    @property
    def separation(self) -> str | None:
        """"complete" or "quasi-complete" where the predictors separate the classes, else None."""
        return self._fit.separation

    @property
    def converged(self) -> bool:
        """Whether the iterations converged."""
        return self._fit.converged

    def warn(self) -> None:
        """Warns where the estimates are not those of a maximum."""
        if self.separation:
            warnings.warn(f"The predictors separate the classes ({self.separation} separation): the likelihood "
                          "has no maximum at finite estimates. The last estimates are given; their standard "
                          "errors mean nothing.", SeparationWarning, stacklevel=4)
        elif not self.converged:
            warnings.warn(f"The estimates did not converge in {self.iterations} iterations: the last ones are "
                          "given.", ConvergenceWarning, stacklevel=4)

    @cached_property
    def llnull(self) -> float:
        """The log-likelihood of the model with constants alone."""
        if self._fit.design.has_intercept:
            return self._fit.initial_log_likelihood
        if self._fit.layout.weights is not None:
            return np.nan
        weights = self._fit.category_weights
        return float(weights @ np.log(weights / weights.sum()))

    @property
    def llr(self) -> float:
        """The likelihood-ratio statistic against constants alone."""
        return 2.0 * (self.llf - self.llnull)

    @property
    def llr_pvalue(self) -> float:
        """The p value of ``llr``."""
        return dist.chi_square_upper(self.llr, self.df_model)

    @property
    def prsquared(self) -> float:
        """McFadden's pseudo R square."""
        return 1.0 - self.llf / self.llnull

    def classification_table(self) -> Any:
        """Observations by class observed (rows) and predicted (columns)."""
        order = np.argsort(self._fit.categories)
        return frame(self._fit.classification()[np.ix_(order, order)], self.classes, self.classes)

    def _probabilities(self, data: Any) -> np.ndarray:
        probabilities = self._fit.probabilities(self.model.new_records(data))
        return probabilities[:, np.argsort(self._fit.categories)]

    def _summary(self, alpha: float) -> SummaryTable:
        return logistic_summary(self, alpha)


class LogitResults(_ClassResults):
    """Results of `qvreg.logit`."""

    def predict(self, data: Any) -> Any:
        """The probability of the class that is not the reference, for every row of `data`.

        Parameters
        ----------
        data : DataFrame, dict of arrays or structured array
            The columns that the formula uses, but for the response.

        Returns
        -------
        Series or array
            As the data have an index or not; NaN where a value is missing.
        """
        event = int(self._fit.categories[0] > self._fit.categories[1])
        return _as_rows_of(data, self._probabilities(data)[:, event])


class MNLogitResults(_ClassResults):
    """Results of `qvreg.mnlogit`: estimates have a column per class but the reference."""

    @property
    def _equation_classes(self) -> list:
        return [self.model.classes[code] for code in self._fit.categories[:-1]]

    def _shaped(self, values: np.ndarray) -> Any:
        by_equation = values.reshape(self._fit.n_equations, -1).T
        return frame(by_equation, self._fit.table.names, range(self._fit.n_equations))

    def _labels(self) -> list:
        return [(str(label), name) for label in self._equation_classes for name in self._fit.table.names]

    def conf_int(self, alpha: float = 0.05) -> Any:
        """Limits of confidence intervals.

        Parameters
        ----------
        alpha : float
            1 less the level of confidence.

        Returns
        -------
        DataFrame or array
            A row per class and parameter: its lower and upper limit.
        """
        return frame(self._limits(alpha), self._labels(), ["lower", "upper"],
                     [self.model.formula.response, ""])

    def predict(self, data: Any) -> Any:
        """The probability of every class, in the order of ``classes``, for every row of `data`.

        Parameters
        ----------
        data : DataFrame, dict of arrays or structured array
            The columns that the formula uses, but for the response.

        Returns
        -------
        DataFrame or array
            As the data have an index or not; NaN where a value is missing.
        """
        probabilities = self._probabilities(data)
        index = index_of(data)
        return probabilities if index is None else frame(probabilities, index, range(probabilities.shape[1]))


KINDS = {"ols": LinearResults, "logit": LogitResults, "mnlogit": MNLogitResults}


def load(path: str | os.PathLike) -> Results:
    """Reads a model that `save` has written.

    Parameters
    ----------
    path : str or path
        The file.

    Returns
    -------
    LinearResults, LogitResults or MNLogitResults
        With the numbers of the model that was saved, and its predictions, to the last bit. Functions
        that its formula calls are numpy's, as ``np`` or ``numpy``.
    """
    with open(path, "rb") as file:
        return _unpacked(file.read(), str(path))


def _unpickled(packed: bytes) -> Results:
    return _unpacked(packed, "The pickle")


def _unpacked(packed: bytes, name: str) -> Results:
    described, fitted = unpack(packed, name)
    model = Model.from_dict(described["model"], SAVED_NAMES)
    fit = Fit(model.formula.design, model.layout, restore(fitted))
    return KINDS[model.kind](model, fit, Extras.from_dict(described["extras"]))
