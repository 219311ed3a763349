"""A model with a formula: its records for a fit, and for predictions."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

from ._data import Records
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
        """Rows of `data` for scoring, which needs the variables of the right side alone."""
        columns = self.formula.columns(data)
        return Records(columns, None if columns else _length(data))


def _length(data: Any) -> int:
    return len(next(iter(data.values()))) if isinstance(data, dict) else len(data)
