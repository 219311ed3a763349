"""Exceptions and warnings of the package.

Every exception is a `QvregError` with a sentence that says what was wrong, where, and what to do;
``code`` is the status of the library, or None where the package found the fault by itself.
"""

from __future__ import annotations

__all__ = [
    "ArgumentError",
    "ConvergenceWarning",
    "DataError",
    "DataWarning",
    "FormulaError",
    "LibraryError",
    "QvregError",
    "SeparationWarning",
]


class QvregError(Exception):
    """Base of all exceptions of the package.

    Parameters
    ----------
    message : str
        What was wrong, where, and what to do.
    code : int, optional
        The status of the library that led to it.
    """

    def __init__(self, message: str, code: int | None = None) -> None:
        super().__init__(message)
        self.code = code
        self.data: list[int] = []
        """Whole numbers that the library attached, such as that of a record."""

    def __reduce__(self) -> tuple:
        return type(self), (str(self), self.code)


class LibraryError(QvregError, RuntimeError):
    """The library refused a call or ended a run."""


class DataError(QvregError, ValueError):
    """The data cannot be used: shapes, types, missing or infinite values."""


class ArgumentError(QvregError, ValueError):
    """An argument has a value that it cannot have."""


class FormulaError(QvregError, ValueError):
    """The formula cannot be read, or asks for what there is not."""


class DataWarning(UserWarning):
    """The data can be used, but are probably not what was meant."""


class SeparationWarning(UserWarning):
    """The predictors separate the classes: the likelihood has no maximum at finite estimates."""


class ConvergenceWarning(UserWarning):
    """The iterations ended without convergence."""
