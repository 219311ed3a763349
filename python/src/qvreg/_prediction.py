"""Predicted means with their errors and intervals."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np

from ._arguments import share
from ._labels import frame


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
        return frame(values, range(len(values)) if self._index is None else self._index, columns)
