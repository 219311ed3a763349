"""Linear and multinomial logistic regression over more data than memory holds.

Formulas and results are those that users of statsmodels know; columns of DataFrames, arrays and
memory-mapped files are read in place, and no design matrix is made.

- `ols`, `logit` and `mnlogit` fit a formula to data with named columns.
- `fit_chunks` fits it to data that are read in chunks, once more for every pass.
- ``results.save(path)`` and `load` keep a model; `pickle` does, too.
- `qvreg.sklearn`, which is imported by itself, has estimators for scikit-learn.

Examples
--------
>>> import numpy as np
>>> import qvreg
>>> data = {"mass": np.array([3.7, 3.8, 5.0, 5.4, 3.4, 5.7]),
...         "species": np.array(["Adelie", "Adelie", "Gentoo", "Gentoo", "Adelie", "Gentoo"])}
>>> results = qvreg.ols("mass ~ species", data)
>>> results.names
['Intercept', 'species[T.Gentoo]']
>>> round(results.rsquared, 4)
0.9311
>>> results.predict({"species": np.array(["Gentoo", None])}).round(3)
array([5.367,   nan])
"""

from __future__ import annotations

from ._library import version as library_version
from ._models import fit_chunks, logit, mnlogit, ols
from .errors import (ArgumentError, ConvergenceWarning, DataError, DataWarning, FormulaError, LibraryError,
                     QvregError, SeparationWarning)
from .results import load

__version__ = "0.1.0"

__all__ = [
    "ArgumentError",
    "ConvergenceWarning",
    "DataError",
    "DataWarning",
    "FormulaError",
    "LibraryError",
    "QvregError",
    "SeparationWarning",
    "fit_chunks",
    "library_version",
    "load",
    "logit",
    "mnlogit",
    "ols",
]
