"""Checks of arguments that functions have in common."""

from __future__ import annotations

from typing import Any

import numpy as np

from .errors import ArgumentError


def one_of(name: str, value: Any, choices: tuple) -> None:
    """An exception unless `value` is among `choices`."""
    if not isinstance(value, str) or value not in choices:
        raise ArgumentError(f"{name}={value!r} is not known. Choose {' or '.join(map(repr, choices))}.")


def is_whole(value: Any) -> bool:
    """Whether `value` is a whole number, of Python or numpy, and no truth value."""
    return isinstance(value, (int, np.integer)) and not isinstance(value, bool)


def positive(name: str, value: Any, otherwise: str = "") -> int:
    """`value` as a whole number; an exception unless it is one from 1 on. `otherwise` says what else is possible."""
    if not is_whole(value) or value < 1:
        raise ArgumentError(f"{name}={value!r}: a whole number from 1 on is needed{otherwise}.")
    return int(value)


def share(name: str, value: Any) -> float:
    """`value`, a share; an exception unless it lies between 0 and 1."""
    is_number = isinstance(value, (int, float, np.integer, np.floating)) and not isinstance(value, bool)
    if not is_number or not 0.0 < value < 1.0:
        raise ArgumentError(f"{name}={value!r}: a number between 0 and 1 is needed. 0.05 gives intervals of 95 %.")
    return float(value)
