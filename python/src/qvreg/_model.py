"""A model with a formula: its records for a fit, and for predictions."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

import numpy as np

from ._data import Column, Records
from ._fit import Layout
from ._formula import Formula


@dataclass
class Model:
    """A formula, the classes of its response (None of a linear model) and its records' layout."""

    formula: Formula
    classes: tuple | None
    layout: Layout

    @property
    def endog_names(self) -> str:
        return self.formula.response

    @property
    def exog_names(self) -> list[str]:
        return [self.formula.design.column_name(term, levels) for term in self.formula.design.terms
                for levels in self.formula.design.all_columns(term)]

    def new_records(self, data: Any) -> Records:
        """Rows of `data` for scoring: the response and weights, which are not used, stand at 1 and 0."""
        columns = self.formula.columns(data)
        n_rows = len(columns[0]) if columns else _length(data)
        columns.append(_constant("The response", 0.0, n_rows))
        for position in (self.layout.weights, self.layout.freq_weights):
            if position is not None:
                columns.append(_constant("The weight", 1.0, n_rows))
        return Records(columns)


def _constant(name: str, value: float, n_rows: int) -> Column:
    return Column(name, np.broadcast_to(np.float64(value), n_rows))


def _length(data: Any) -> int:
    return len(next(iter(data.values()))) if isinstance(data, dict) else len(data)
