"""Fits on a cluster of Dask: partitions stay on its workers, sums of them travel.

Each partition is a part of the records. A pass over them is a task for every part, and tasks that join their answers
in pairs; one answer comes back. Results are the same, to the last bit, on any number of workers, whichever of them are
lost meanwhile: what these held is made again.

- `ols`, `logit` and `mnlogit` fit a formula to a Dask DataFrame.
- `LinearRegression` and `LogisticRegression` are those of `qvreg.sklearn` for Dask arrays and DataFrames.

Examples
--------
>>> import dask.dataframe
>>> import pandas as pd
>>> from distributed import Client
>>> import qvreg.dask
>>> client = Client(n_workers=1, threads_per_worker=1, processes=False, dashboard_address=None)
>>> frame = pd.DataFrame({"y": [1.0, 2.0, 2.5, 4.5], "x": [0.0, 1.0, 2.0, 3.0]})
>>> results = qvreg.dask.ols("y ~ x", dask.dataframe.from_pandas(frame, npartitions=2))
>>> print(results.params.round(3).to_string())
Intercept    0.85
x            1.10
>>> client.close()
"""

from __future__ import annotations

from collections.abc import Iterator
from contextlib import contextmanager
from typing import TYPE_CHECKING, Any

from ._dask_cluster import Tasks, cluster_client
from ._dask_parts import Partitions
from ._expressions import patsy_module
from ._model import Weights
from ._models import Arguments, fit_formula
from .results import LinearResults, LogitResults, MNLogitResults

if TYPE_CHECKING:
    from ._dask_arrays import LinearRegression, LogisticRegression

__all__ = ["LinearRegression", "LogisticRegression", "logit", "mnlogit", "ols"]

_TIMEOUT = 300.0


def ols(formula: str, data: Any, client: Any = None, *, timeout: float = _TIMEOUT, **options: Any) -> LinearResults:
    """Fits a linear model to the partitions of a Dask DataFrame.

    Parameters
    ----------
    formula : str
        As of `qvreg.ols`. Every term has to be that of its own row; `center` and its like, which remember something
        of the data, are refused.
    data : dask.dataframe.DataFrame
        The columns that the formula names. Workers hold those while the fit runs.
    client : distributed.Client, optional
        The cluster; that of the caller, by default.
    timeout : float
        For how many seconds to wait while the cluster has no worker.
    **options
        Those of `qvreg.ols`, but for ``threads``. Weights are names of columns.

    Returns
    -------
    LinearResults
    """
    environment = patsy_module().EvalEnvironment.capture(1)
    with _partitions(data, client, timeout, options) as (partitions, arguments):
        return fit_formula("ols", formula, partitions, environment, arguments)


def logit(formula: str, data: Any, client: Any = None, *, timeout: float = _TIMEOUT, **options: Any) -> LogitResults:
    """Fits a logistic model of two classes to the partitions of a Dask DataFrame.

    Parameters
    ----------
    formula, data, client, timeout
        As of `ols`.
    **options
        Those of `qvreg.logit`, but for ``threads``. Weights are names of columns.

    Returns
    -------
    LogitResults
    """
    environment = patsy_module().EvalEnvironment.capture(1)
    with _partitions(data, client, timeout, options) as (partitions, arguments):
        return fit_formula("logit", formula, partitions, environment, arguments)


def mnlogit(formula: str, data: Any, client: Any = None, *, timeout: float = _TIMEOUT,
            **options: Any) -> MNLogitResults:
    """Fits a multinomial logistic model to the partitions of a Dask DataFrame.

    Parameters
    ----------
    formula, data, client, timeout
        As of `ols`.
    **options
        Those of `qvreg.mnlogit`, but for ``threads``. Weights are names of columns.

    Returns
    -------
    MNLogitResults
    """
    environment = patsy_module().EvalEnvironment.capture(1)
    with _partitions(data, client, timeout, options) as (partitions, arguments):
        return fit_formula("mnlogit", formula, partitions, environment, arguments)


@contextmanager
def _partitions(data: Any, client: Any, timeout: float, options: dict) -> Iterator[tuple[Partitions, Arguments]]:
    arguments = Arguments.of(options, without=("threads",))
    tasks = Tasks(cluster_client(client), timeout)
    try:
        yield Partitions(data, tasks, Weights(arguments.weights, arguments.freq_weights)), arguments
    finally:
        tasks.release()


def __getattr__(name: str) -> Any:
    # The estimators need scikit-learn.
    if name in ("LinearRegression", "LogisticRegression"):
        from . import _dask_arrays

        return getattr(_dask_arrays, name)
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
