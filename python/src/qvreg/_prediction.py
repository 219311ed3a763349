"""Predictions with their errors and intervals."""

from __future__ import annotations

from collections.abc import Callable, Sequence
from typing import Any

import numpy as np

from . import _distributions as dist
from ._arguments import one_of, share
from ._labels import frame, has_labels


class Prediction:
    """Predicted means with their standard errors.

    Attributes
    ----------
    predicted_mean, se_mean, se_obs : numpy.ndarray
        The means, their standard errors, and those of a new observation.
    """

    def __init__(self, mean: np.ndarray, errors: np.ndarray, scale: float,
                 quantile: Callable[[float], float], index: Any) -> None:
        self.predicted_mean = mean
        self.se_mean = errors
        self.se_obs = np.sqrt(errors ** 2 + scale)
        self._quantile = quantile
        self._index = index

    def __repr__(self) -> str:
        return f"<Prediction of {len(self.predicted_mean)} rows: predicted_mean, se_mean, conf_int(), summary_frame()>"

    def conf_int(self, obs: bool = False, alpha: float = 0.05) -> np.ndarray:
        """Limits for the means, or with `obs` for new observations: a row for each."""
        half = self._quantile(share("alpha", alpha)) * (self.se_obs if obs else self.se_mean)
        return np.column_stack([self.predicted_mean - half, self.predicted_mean + half])

    def summary_frame(self, alpha: float = 0.05) -> Any:
        """Means, standard errors and both intervals as columns."""
        columns = ["mean", "mean_se", "mean_ci_lower", "mean_ci_upper", "obs_ci_lower", "obs_ci_upper"]
        values = np.column_stack([self.predicted_mean, self.se_mean, self.conf_int(False, alpha),
                                  self.conf_int(True, alpha)])
        return _by_rows(values, self._index, columns)


class ProbabilityPrediction:
    """Predicted probabilities with their standard errors, by the delta method.

    Arrays have a row per row of the data; of `qvreg.mnlogit` also a column per class.

    Attributes
    ----------
    predicted_mean, se_mean : numpy.ndarray
        The probabilities and their standard errors.
    """

    def __init__(self, probabilities: np.ndarray, others: np.ndarray, errors: np.ndarray,
                 classes: Sequence[Any] | None, index: Any) -> None:
        self.predicted_mean, self.se_mean = probabilities, errors
        self._others = others
        self._classes, self._index = classes, index

    def __repr__(self) -> str:
        classes = "" if self._classes is None else f" and {len(self._classes)} classes"
        return (f"<ProbabilityPrediction of {len(self.predicted_mean)} rows{classes}: predicted_mean, se_mean, "
                "conf_int(), summary_frame()>")

    def conf_int(self, alpha: float = 0.05, method: str = "endpoint") -> np.ndarray:
        """Limits for the probabilities: a row for each row of the data.

        Parameters
        ----------
        alpha : float
            1 less the level of confidence.
        method : {"endpoint", "delta"}
            "endpoint": the limits of the log odds, taken back to probabilities, so that they lie
            between 0 and 1; "delta": as far below the probability as above it.

        Returns
        -------
        numpy.ndarray
            Lower and upper limits; of `qvreg.mnlogit` a third dimension has the classes.
        """
        one_of("method", method, ("endpoint", "delta"))
        quantile = dist.normal_quantile(share("alpha", alpha))
        half = quantile * self.se_mean
        limits = [self.predicted_mean - half, self.predicted_mean + half]
        if method == "endpoint":
            with np.errstate(divide="ignore", invalid="ignore", over="ignore"):
                odds = self.predicted_mean / self._others
                factor = np.exp(half / (self.predicted_mean * self._others))
                limits = [odds / (odds + factor), odds / (odds + 1.0 / factor)]
            limits = [np.where(half == 0.0, self.predicted_mean, limit) for limit in limits]
        return np.stack(limits, axis=1)

    def summary_frame(self, alpha: float = 0.05, method: str = "endpoint") -> Any:
        """Probabilities, standard errors and limits as columns; of `qvreg.mnlogit` those of each class under its name.

        Without pandas an array, whose last dimension has the classes.
        """
        names = ["mean", "mean_se", "mean_ci_lower", "mean_ci_upper"]
        limits = self.conf_int(alpha, method)
        values = np.stack([self.predicted_mean, self.se_mean, limits[:, 0], limits[:, 1]], axis=1)
        if self._classes is None:
            return _by_rows(values, self._index, names)
        if not has_labels():
            return values
        by_class = values.transpose(0, 2, 1).reshape(len(values), len(names) * len(self._classes))
        return _by_rows(by_class, self._index, [(label, name) for label in self._classes for name in names])


def _by_rows(values: np.ndarray, index: Any, columns: Sequence[Any]) -> Any:
    return frame(values, range(len(values)) if index is None else index, columns)
