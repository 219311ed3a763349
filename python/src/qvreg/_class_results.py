"""Results of models of classes."""

from __future__ import annotations

import warnings
from functools import cached_property
from typing import Any

import numpy as np

from . import _distributions as dist
from ._advice import needs_data
from ._arguments import one_of
from ._averaged_rows import row_counts
from ._fit import Fit
from ._labels import frame, index_of
from ._margins import MarginalEffects
from ._model import Extras, Model
from ._prediction import ProbabilityPrediction
from ._probabilities import average_effects, errors_of_probabilities, others
from ._results import Results, as_rows_of
from ._summary import SummaryTable, logistic_summary
from .errors import ConvergenceWarning, SeparationWarning


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

    def pred_table(self) -> Any:
        """`classification_table` under another name."""
        return self.classification_table()

    def _probabilities(self, data: Any) -> np.ndarray:
        needs_data("predict", data)
        probabilities = self._fit.probabilities(self.model.new_records(data))
        return probabilities[:, np.argsort(self._fit.categories)]

    def _errors_of_probabilities(self, data: Any) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
        """Probabilities, 1 less each of them, and their standard errors, in the order of ``classes``."""
        needs_data("get_prediction", data)
        found, errors = errors_of_probabilities(self._fit, self.model.new_records(data), self._full_covariance)
        order = np.argsort(self._fit.categories)
        return found[:, order], others(found)[:, order], errors[:, order]

    def _effects(self, data: Any, at: str, method: str, freq_weights: Any,
                 positions: list[int], classes: list | None) -> MarginalEffects:
        """Those on the probabilities of the classes at `positions` of ``classes``."""
        needs_data("get_margeff", data)
        one_of("at", at, ("overall",))
        one_of("method", method, ("dydx",))
        records = self.model.new_records(data)
        counts = row_counts(self.model, data, records, freq_weights)
        effects, jacobian = average_effects(self._fit, records, counts)
        table = self._fit.table
        kept = [i for i, place in enumerate(table.shown) if table.parameters[place].term >= 0]
        columns = table.shown[kept]
        categories = np.argsort(self._fit.categories)[positions]
        jacobian = jacobian[np.ix_(categories, columns)].reshape(len(categories) * len(columns), -1)
        return MarginalEffects(self.model.formula.response, [table.names[i] for i in kept], classes,
                               effects[np.ix_(categories, columns)], jacobian @ self._full_covariance @ jacobian.T)

    def _summary(self, alpha: float) -> SummaryTable:
        return logistic_summary(self, alpha)


class LogitResults(_ClassResults):
    """Results of `qvreg.logit`."""

    def predict(self, data: Any = None) -> Any:
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
        return as_rows_of(data, self._probabilities(data)[:, self._event])

    @property
    def _event(self) -> int:
        """Which of the classes is not the reference."""
        return int(self._fit.categories[0] > self._fit.categories[1])

    def get_prediction(self, data: Any = None) -> ProbabilityPrediction:
        """Predicted probabilities, as of `predict`, with standard errors and intervals.

        Parameters
        ----------
        data : DataFrame, dict of arrays or structured array
            The columns that the formula uses, but for the response.

        Returns
        -------
        ProbabilityPrediction

        Examples
        --------
        >>> import qvreg
        >>> data = {"y": [0, 0, 1, 0, 1, 1], "x": [0.0, 1.0, 2.0, 3.0, 4.0, 5.0]}
        >>> prediction = qvreg.logit("y ~ x", data).get_prediction({"x": [2.0, 3.0]})
        >>> prediction.se_mean.round(3)
        array([0.278, 0.278])
        >>> prediction.conf_int().round(3)
        array([[0.048, 0.856],
               [0.144, 0.952]])
        """
        found, left, errors = (values[:, self._event] for values in self._errors_of_probabilities(data))
        return ProbabilityPrediction(found, left, errors, None, index_of(data))

    def get_margeff(self, data: Any = None, at: str = "overall", method: str = "dydx",
                    freq_weights: Any = None) -> MarginalEffects:
        """Average marginal effects: how the probability changes with each column of the design.

        Parameters
        ----------
        data : DataFrame, dict of arrays or structured array
            The rows to average over: those of the fit, usually. Rows with missing values are left out;
            where the data have the response, or the columns that the fit has taken its weights from, so
            are rows in which these are missing, and rows of weight 0.
        at : {"overall"}
            Effects are averaged over rows.
        method : {"dydx"}
            Derivatives, also by columns of 0 and 1.
        freq_weights : str or array_like, optional
            How often each row counts: a column's name, or values in the order of the rows. By default
            what the column says that was ``freq_weights`` of the fit, where the data have it, and once
            otherwise: weights that the fit was given as values have to be given again.

        Returns
        -------
        MarginalEffects

        Examples
        --------
        >>> import qvreg
        >>> data = {"y": [0, 0, 1, 0, 1, 1], "x": [0.0, 1.0, 2.0, 3.0, 4.0, 5.0]}
        >>> effects = qvreg.logit("y ~ x", data).get_margeff(data)
        >>> print(effects.margeff.round(3), effects.margeff_se.round(3))
        [0.159] [0.022]
        """
        return self._effects(data, at, method, freq_weights, [self._event], None)


class MNLogitResults(_ClassResults):
    """Results of `qvreg.mnlogit`: estimates have a column per class but the reference, named by it."""

    @property
    def _equation_classes(self) -> list:
        return [self.model.classes[code] for code in self._fit.categories[:-1]]

    def _shaped(self, values: np.ndarray) -> Any:
        by_equation = values.reshape(self._fit.n_equations, -1).T
        return frame(by_equation, self._fit.table.names, self._equation_classes)

    def _labels(self) -> list:
        return [(str(label), name) for label in self._equation_classes for name in self._fit.table.names]

    def _redundant_names(self) -> list[str]:
        return [f"{label}:{name}" for label in self._equation_classes for name in self.redundant]

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

    def predict(self, data: Any = None) -> Any:
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
        return probabilities if index is None else frame(probabilities, index, self.classes)

    def get_prediction(self, data: Any = None) -> ProbabilityPrediction:
        """Predicted probabilities, as of `predict`, with standard errors and intervals.

        Parameters
        ----------
        data : DataFrame, dict of arrays or structured array
            The columns that the formula uses, but for the response.

        Returns
        -------
        ProbabilityPrediction
            ``summary_frame()["a"]`` is the frame of the class "a".
        """
        found, left, errors = self._errors_of_probabilities(data)
        return ProbabilityPrediction(found, left, errors, self.classes, index_of(data))

    def get_margeff(self, data: Any = None, at: str = "overall", method: str = "dydx",
                    freq_weights: Any = None) -> MarginalEffects:
        """Average marginal effects: how the probability of each class changes with each column of the design.

        Parameters
        ----------
        data, at, method, freq_weights
            As of `qvreg.results.LogitResults.get_margeff`.

        Returns
        -------
        MarginalEffects
        """
        return self._effects(data, at, method, freq_weights, list(range(len(self.classes))), self.classes)
