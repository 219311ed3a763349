"""Arrays with the names of their rows and columns: pandas where it is installed, plain otherwise."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

import numpy as np

from ._columns import pd


def has_labels() -> bool:
    """Whether arrays get names."""
    return pd is not None


def series(values: np.ndarray, names: Sequence[Any]) -> Any:
    """`values` by `names`; the array alone without pandas."""
    return values if pd is None else pd.Series(values, index=list(names))


def frame(values: np.ndarray, rows: Any, columns: Any, row_names: Sequence[str] | None = None) -> Any:
    """`values` by `rows` and `columns`; the array alone without pandas. Tuples become a MultiIndex."""
    if pd is None:
        return values
    return pd.DataFrame(values, index=_index(rows, row_names), columns=_index(columns, None))


def _index(labels: Any, names: Sequence[str] | None) -> Any:
    labels = labels if isinstance(labels, pd.Index) else list(labels)
    if len(labels) and isinstance(labels[0], tuple):
        return pd.MultiIndex.from_tuples(labels, names=names)
    return labels


def index_of(data: Any) -> Any:
    """The index of the rows of `data`, None where it has none."""
    return getattr(data, "index", None) if pd is not None else None
