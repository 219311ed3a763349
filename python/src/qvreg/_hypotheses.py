"""Tests of linear hypotheses on the estimates, which patsy reads."""

from __future__ import annotations

from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import Any

import numpy as np

from . import _distributions as dist
from ._arguments import share
from ._expressions import patsy_module
from ._hypothesis_words import unknown_name
from ._labels import frame
from .errors import ArgumentError, FormulaError


@dataclass(frozen=True)
class Estimates:
    """Estimates by name, their covariance, and the distribution of their statistics."""

    names: Sequence[str]
    values: np.ndarray
    covariance: np.ndarray
    use_t: bool
    df_resid: float
    p_values: Callable[[np.ndarray], np.ndarray]
    quantile: Callable[[float], float]
    redundant: Callable[[], Sequence[str]]

    def constraint(self, hypotheses: Any) -> Any:
        """The linear constraint that `hypotheses` are, as patsy reads it."""
        patsy = patsy_module()
        try:
            return patsy.DesignInfo(list(self.names)).linear_constraint(hypotheses)
        except IndexError as error:
            raise FormulaError(f"A hypothesis is empty. Write one, as in '{self.names[-1]} = 0'.") from error
        except (patsy.PatsyError, ValueError) as error:
            called = f"Parameters are called {', '.join(self.names)}."
            unknown = unknown_name(hypotheses, error, self.names, self.redundant())
            if unknown is not None:
                raise FormulaError(f"{unknown} {called}") from error
            raise FormulaError(f"The hypotheses cannot be read: {str(error).rstrip()}\n{called}") from error


class ContrastResults:
    """Linear combinations of estimates, each beside the value that it is tested against.

    Attributes
    ----------
    effect, sd : numpy.ndarray
        The combinations and their standard errors.
    tvalue, statistic, pvalue : numpy.ndarray
        The distances from the values tested over the standard errors, twice, and two-sided p values.
    df_denom : float
        The degrees of freedom of t.
    """

    def __init__(self, estimates: Estimates, hypotheses: Any) -> None:
        constraint = estimates.constraint(hypotheses)
        matrix, constants = np.asarray(constraint.coefs), np.ravel(constraint.constants)
        self.effect = matrix @ estimates.values
        self.sd = np.sqrt(np.diag(matrix @ estimates.covariance @ matrix.T))
        with np.errstate(divide="ignore", invalid="ignore"):
            self.tvalue = self.statistic = (self.effect - constants) / self.sd
        self.pvalue = estimates.p_values(self.tvalue)
        self.df_denom = estimates.df_resid
        self._quantile = estimates.quantile
        self._kind = "t" if estimates.use_t else "z"

    def conf_int(self, alpha: float = 0.05) -> np.ndarray:
        """Limits of confidence intervals of the combinations: a row for each."""
        half = self._quantile(share("alpha", alpha)) * self.sd
        return np.column_stack([self.effect - half, self.effect + half])

    def summary_frame(self, alpha: float = 0.05) -> Any:
        """A row per combination: as columns what `summary` shows of parameters."""
        columns = ["coef", "std err", self._kind, f"P>|{self._kind}|", "Conf. Int. Low", "Conf. Int. Upp."]
        values = np.column_stack([self.effect, self.sd, self.tvalue, self.pvalue, self.conf_int(alpha)])
        return frame(values, [f"c{number}" for number in range(len(values))], columns)

    def __repr__(self) -> str:
        shown = self.summary_frame()
        return str(shown) if isinstance(shown, np.ndarray) else shown.to_string()


class WaldResults:
    """A joint test of linear hypotheses.

    Attributes
    ----------
    statistic : float
        F, or chi-square where `distribution` says so.
    pvalue : float
        Its p value.
    df_num, df_denom : float
        The number of hypotheses, and the degrees of freedom of the residuals.
    distribution : {"F", "chi2"}
        That of `statistic`.
    """

    def __init__(self, estimates: Estimates, hypotheses: Any, use_f: bool) -> None:
        constraint = estimates.constraint(hypotheses)
        matrix = np.asarray(constraint.coefs)
        if np.linalg.matrix_rank(matrix) < len(matrix):
            raise ArgumentError("The hypotheses depend on each other: leave out those that follow from the others.")
        distances = matrix @ estimates.values - np.ravel(constraint.constants)
        statistic = float(distances @ np.linalg.solve(matrix @ estimates.covariance @ matrix.T, distances))
        self.df_num, self.df_denom = float(len(matrix)), estimates.df_resid
        self.distribution = "F" if use_f else "chi2"
        self.statistic = statistic / self.df_num if use_f else statistic
        self.pvalue = (dist.f_upper(self.statistic, self.df_num, self.df_denom) if use_f
                       else dist.chi_square_upper(self.statistic, self.df_num))

    @property
    def fvalue(self) -> float:
        """The statistic, under the name of that of F."""
        return self.statistic

    def __repr__(self) -> str:
        freedom = f"{self.df_num:g}, {self.df_denom:g}" if self.distribution == "F" else f"{self.df_num:g}"
        return f"<Wald test: {self.distribution}({freedom}) = {self.statistic:.6g}, p = {self.pvalue:.4g}>"
