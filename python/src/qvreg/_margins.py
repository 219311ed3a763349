"""Average marginal effects on probabilities."""

from __future__ import annotations

from collections.abc import Sequence
from functools import cached_property
from typing import Any

import numpy as np

from . import _distributions as dist
from ._arguments import share
from ._labels import frame
from ._summary import SummaryTable, estimate_rows, headings


class MarginalEffects:
    """By how much probabilities change with each column of the design, averaged over rows.

    Arrays have a row per column of the design, but for the constant; of `qvreg.mnlogit` they have a
    column per class, too.

    Attributes
    ----------
    margeff, margeff_se : numpy.ndarray
        The effects and their standard errors.
    margeff_cov : numpy.ndarray
        The covariance matrix of the effects, of one class after the other.
    """

    def __init__(self, response: str, names: Sequence[str], classes: Sequence[Any] | None, effects: np.ndarray,
                 covariance: np.ndarray) -> None:
        self._response, self._names, self._classes = response, list(names), classes
        self._flat = effects.ravel()
        self.margeff_cov = covariance
        self.margeff, self.margeff_se = self._shaped(self._flat), self._shaped(self._errors)

    def _shaped(self, values: np.ndarray) -> np.ndarray:
        return values if self._classes is None else values.reshape(len(self._classes), -1).T

    @cached_property
    def _errors(self) -> np.ndarray:
        return np.sqrt(np.diag(self.margeff_cov))

    @cached_property
    def _statistics(self) -> np.ndarray:
        with np.errstate(divide="ignore", invalid="ignore"):
            return self._flat / self._errors

    @property
    def tvalues(self) -> np.ndarray:
        """The effects over their standard errors."""
        return self._shaped(self._statistics)

    @property
    def pvalues(self) -> np.ndarray:
        """Two-sided p values of the hypotheses that an effect is 0."""
        return self._shaped(dist.normal_two_sided(self._statistics))

    def _limits(self, alpha: float) -> np.ndarray:
        half = dist.normal_quantile(share("alpha", alpha)) * self._errors
        return np.column_stack([self._flat - half, self._flat + half])

    def conf_int(self, alpha: float = 0.05) -> np.ndarray:
        """Limits of confidence intervals: a row for each column, with its lower and upper limit.

        Of `qvreg.mnlogit` a third dimension has the classes.
        """
        limits = self._limits(alpha)
        if self._classes is None:
            return limits
        return limits.reshape(len(self._classes), -1, 2).transpose(1, 2, 0)

    def summary_frame(self, alpha: float = 0.05) -> Any:
        """A row per column, of `qvreg.mnlogit` per class and column: as columns what `summary` shows."""
        columns = ["dy/dx", "Std. Err.", "z", "Pr(>|z|)", "Conf. Int. Low", "Conf. Int. Hi."]
        values = np.column_stack([self._flat, self._errors, self._statistics,
                                  dist.normal_two_sided(self._statistics), self._limits(alpha)])
        if self._classes is None:
            return frame(values, self._names, columns)
        labels = [(label, name) for label in self._classes for name in self._names]
        return frame(values, labels, columns, [self._response, ""])

    def summary(self, alpha: float = 0.05) -> SummaryTable:
        """A table of the effects, for `print` and for notebooks.

        Parameters
        ----------
        alpha : float
            1 less the level of the confidence intervals.
        """
        rows = estimate_rows(self._names * len(self._classes or [None]), self._flat, self._errors, self._statistics,
                             dist.normal_two_sided(self._statistics), self._limits(alpha))
        width = len(self._names)
        equations = [("" if self._classes is None else f"{self._response}={label}",
                      rows[i * width:(i + 1) * width]) for i, label in enumerate(self._classes or [None])]
        facts = [("Dep. Variable", self._response), ("Averaged over", "rows")]
        return SummaryTable("Average marginal effects", facts, headings("dy/dx", "z", alpha), equations)

    def _repr_html_(self) -> str:
        return self.summary()._repr_html_()

    def __repr__(self) -> str:
        return str(self.summary())
