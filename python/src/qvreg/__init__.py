"""Linear and multinomial logistic regression over more data than memory holds."""

from __future__ import annotations

from ._library import version as library_version
from ._models import fit_chunks, logit, mnlogit, ols
from .errors import (ConvergenceWarning, DataError, FormulaError, LibraryError, QvregError,
                     SeparationWarning)
from .results import load

__version__ = "0.1.0"

__all__ = [
    "ConvergenceWarning",
    "DataError",
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
