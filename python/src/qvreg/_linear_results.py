"""Results of least squares."""

from __future__ import annotations

from functools import cached_property
from typing import Any

import numpy as np

from . import _distributions as dist
from . import _library as lib
from ._advice import needs_data
from ._fit import Fit
from ._labels import index_of
from ._model import Extras, Model
from ._prediction import Prediction
from ._results import Results, as_rows_of
from ._summary import SummaryTable, linear_summary


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
        self.ssr = residual_sum(fit)
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
    def _total(self) -> float:
        """The total sum of squares that ``rsquared`` is about."""
        return _ratio(self.ssr, 1.0 - self.rsquared)

    @property
    def centered_tss(self) -> float:
        """The total sum of squares about the mean, NaN where the columns do not span a constant."""
        return self._total if self._n_constants else np.nan

    @property
    def uncentered_tss(self) -> float:
        """The total sum of squares about 0, NaN where the columns span a constant."""
        return np.nan if self._n_constants else self._total

    @property
    def ess(self) -> float:
        """The explained sum of squares: the total one less ``ssr``."""
        return self._total - self.ssr

    @property
    def mse_model(self) -> float:
        """The explained sum of squares over ``df_model``."""
        return _ratio(self.ess, self.df_model)

    @property
    def mse_total(self) -> float:
        """The total sum of squares over its degrees of freedom."""
        return _ratio(self._total, self.df_resid + self.df_model)

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
        return normal_log_likelihood(self.nobs, self.ssr) + 0.5 * self._extras.sum_log_weights

    def predict(self, data: Any = None) -> Any:
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
        needs_data("predict", data)
        predicted, _ = self._fit.predict(self.model.new_records(data))
        return as_rows_of(data, predicted)

    def get_prediction(self, data: Any = None) -> Prediction:
        """Predicted means of the rows of `data` with standard errors and intervals.

        Parameters
        ----------
        data : DataFrame, dict of arrays or structured array
            The columns that the formula uses, but for the response.
        """
        needs_data("get_prediction", data)
        predicted, errors = self._fit.predict(self.model.new_records(data), self._full_covariance)
        return Prediction(predicted, errors, self.scale, self._quantile, index_of(data))

    def _summary(self, alpha: float) -> SummaryTable:
        return linear_summary(self, alpha)


def residual_sum(fit: Fit) -> float:
    """The residual sum of squares."""
    with np.errstate(over="ignore"):
        return float(np.square(np.float64(fit.stat(lib.FIT_RMSE))) * fit.total_weight)


def normal_log_likelihood(nobs: float, ssr: float) -> float:
    """The log-likelihood of equal weights, with the residual variance at its maximum."""
    half = nobs / 2.0
    log_ssr = np.log(ssr) if ssr > 0 else -np.inf
    return -half * log_ssr - (1.0 + np.log(np.pi / half)) * half


def _ratio(numerator: float, denominator: float) -> float:
    """A quotient that is not a number, or infinite, where the denominator is 0."""
    with np.errstate(divide="ignore", invalid="ignore"):
        return float(np.float64(numerator) / np.float64(denominator))
