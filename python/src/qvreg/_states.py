"""What patsy's stateful functions, such as `center`, remember of the data, as JSON can keep it."""

from __future__ import annotations

from typing import Any

import numpy as np

from .errors import QvregError

_PLAIN = (type(None), bool, int, float, str)


def described(transforms: dict[str, Any]) -> dict:
    """The states of patsy's objects by their names, to the last bit."""
    return {name: {key: _plain(value) for key, value in vars(transform).items()}
            for name, transform in transforms.items()}


def take(transforms: dict[str, Any], states: dict) -> None:
    """Gives patsy's objects the `states` that were described."""
    for name, state in states.items():
        vars(transforms[name]).update({key: _restored(value) for key, value in state.items()})


def _plain(value: Any) -> Any:
    if isinstance(value, (np.ndarray, np.generic)):
        return _plain_array(np.asarray(value), isinstance(value, np.generic))
    if isinstance(value, _PLAIN):
        return value
    if isinstance(value, (list, tuple)):
        return {"list": [_plain(item) for item in value], "is_tuple": isinstance(value, tuple)}
    if isinstance(value, dict) and all(isinstance(key, str) for key in value):
        return {"dict": {key: _plain(item) for key, item in value.items()}}
    raise _refusal(type(value).__name__)


def _refusal(kind: Any) -> QvregError:
    return QvregError(f"What a function of the formula remembers has the type {kind}, which cannot be saved or "
                      "pickled. Make a column of it before the fit.")


def _plain_array(array: np.ndarray, is_scalar: bool) -> dict:
    """An array as its numbers; what a double cannot hold of long doubles is a second array."""
    if array.dtype.kind not in "biuf":
        raise _refusal(array.dtype)
    kept = {"type": array.dtype.name, "shape": list(array.shape), "is_scalar": is_scalar}
    if not _is_long(array.dtype):
        return {**kept, "values": array.ravel().tolist()}
    high = array.astype(np.float64)
    with np.errstate(invalid="ignore"):
        low = np.where(np.isfinite(high), array - high, 0.0).astype(np.float64)
    return {**kept, "type": "longdouble", "values": high.ravel().tolist(), "rest": low.ravel().tolist()}


def _is_long(dtype: np.dtype) -> bool:
    return dtype == np.longdouble and dtype != np.float64


def _restored(value: Any) -> Any:
    if not isinstance(value, dict):
        return value
    if "list" in value:
        items = [_restored(item) for item in value["list"]]
        return tuple(items) if value["is_tuple"] else items
    if "dict" in value:
        return {key: _restored(item) for key, item in value["dict"].items()}
    array = np.array(value["values"], value["type"]).reshape(value["shape"])
    if "rest" in value:
        array = array + np.array(value["rest"], np.longdouble).reshape(value["shape"])
    return array[()] if value["is_scalar"] else array
