"""What results of all models have."""

from __future__ import annotations

import os
from functools import cached_property
from typing import Any

import numpy as np

from . import _distributions as dist
from ._advice import advise
from ._arguments import share
from ._fit import Fit
from ._hypotheses import ContrastResults, Estimates, WaldResults
from ._labels import frame, index_of, series
from ._model import Extras, Model
from ._saving import is_pmml, pack, write_file
from ._summary import SummaryTable


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

    def _estimates(self) -> Estimates:
        names = [label if isinstance(label, str) else ":".join(label) for label in self._labels()]
        return Estimates(names, self._flat, self._covariance, self.use_t, self.df_resid, self._p_values,
                         self._quantile, self._redundant_names)

    def _redundant_names(self) -> list[str]:
        """What hypotheses would call the redundant parameters."""
        return self.redundant

    def t_test(self, r_matrix: Any) -> ContrastResults:
        """Tests linear combinations of the estimates, one by one.

        Parameters
        ----------
        r_matrix : str, dict, array_like or tuple
            As of patsy: ``"x = 2, a[T.q] = a[T.r]"``, or a row of coefficients for each combination,
            perhaps in a tuple with the values they are tested against. Of `qvreg.mnlogit` the
            parameters are those of all classes, in the order of ``cov_params()``, called
            ``class:name``.

        Returns
        -------
        ContrastResults

        Examples
        --------
        >>> import qvreg
        >>> results = qvreg.ols("y ~ x", {"y": [1.0, 2.0, 2.5, 4.5], "x": [0.0, 1.0, 2.0, 3.0]})
        >>> results.t_test("x = 1").pvalue.round(4)
        array([0.6838])
        """
        return ContrastResults(self._estimates(), r_matrix)

    def wald_test(self, r_matrix: Any, use_f: bool | None = None) -> WaldResults:
        """Tests linear combinations of the estimates jointly.

        Parameters
        ----------
        r_matrix : str, dict, array_like or tuple
            As of `t_test`.
        use_f : bool, optional
            Whether to compare with F in place of chi-square: by default as ``use_t`` is.
        """
        return WaldResults(self._estimates(), r_matrix, self.use_t if use_f is None else use_f)

    def f_test(self, r_matrix: Any) -> WaldResults:
        """As `wald_test` with ``use_f=True``."""
        return self.wald_test(r_matrix, use_f=True)

    def __getattr__(self, name: str) -> Any:
        raise advise(type(self).__name__, name)

    @cached_property
    def redundant(self) -> list[str]:
        """Names of the columns that the data do not determine."""
        return self._fit.table.redundant()

    def warn(self) -> None:
        """Warns where the estimates are not those of a maximum: never those of a linear model."""

    @property
    def n_left_out(self) -> int:
        """How many rows were left out, for missing values or weights of 0."""
        return int(self._fit.counts.read - self._fit.counts.used)

    @property
    def converged(self) -> bool:
        """Whether the iterations converged: always of a linear model."""
        return True

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
            The file, which is replaced if there is one. One that ends in ``.pmml`` or ``.xml`` is
            written as PMML, which ``qvreg score``, ``show``, ``compare`` and ``sql`` read as well:
            of models whose terms are columns, ``C()``, ``Q()``, ``center()`` and ``standardize()``.
        """
        from ._pmml_results import to_pmml  # which imports this module

        write_file(path, to_pmml(self) if is_pmml(path) else self._packed())

    def _packed(self) -> bytes:
        return pack({"model": self.model.to_dict(), "extras": self._extras.to_dict()},
                    self._fit.to_bytes())

    def __reduce__(self) -> tuple:
        from .results import unpickled  # which imports this module

        return unpickled, (self._packed(),)

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


def as_rows_of(data: Any, values: np.ndarray) -> Any:
    """`values` with the index of the rows of `data`, if they have one."""
    index = index_of(data)
    return values if index is None else series(values, index)
