"""Which rows of a table average effects are taken over, and how often each of them counts."""

from __future__ import annotations

from typing import Any

import numpy as np

from ._columns import Column, pd
from ._expressions import unboxed
from ._model import Model, Weights
from ._named import NamedFormula
from ._records import Records
from ._tables import Table


def row_counts(model: Model, data: Any, records: Records, freq_weights: Any) -> np.ndarray:
    """How often each row of `data` counts; 0 where a fit to `data` would leave it out for its response or weights.

    Parameters
    ----------
    model : Model
        That of the fit.
    data : DataFrame, dict of arrays or structured array
        The rows.
    records : Records
        Those of `data`.
    freq_weights : str or array_like, optional
        How often; by default what the column of the fit says, where `data` have it.
    """
    table = Table(data)
    fitted = {name: column for name, column in model.weight_columns.items() if column in table.names}
    given = Weights(fitted.get("weights"), fitted.get("freq_weights") if freq_weights is None else freq_weights)
    columns = {name: given.column(name, table) for name in given.names()}
    response = _response(model, table)
    further = [*columns.values(), *([] if response is None else [response])]
    Records([*records.columns, *further], None if records.columns else records.n_rows)  # refuses other lengths
    counts = np.ones(records.n_rows)
    if "freq_weights" in columns:
        counts = np.nan_to_num(columns["freq_weights"].numbers(), nan=0.0)
    if "weights" in columns:
        counts = np.where(columns["weights"].numbers() > 0, counts, 0.0)
    return counts if response is None else np.where(response.values, 0.0, counts)


def _response(model: Model, table: Table) -> Column | None:
    """Whether the response is missing, for every row; None where the table has no response."""
    formula = model.formula
    if isinstance(formula, NamedFormula):
        column = formula.table.variables[0].columns[0]
        values = table[column] if column in table.names else None
    else:
        values = formula.response_values(table) if formula.has_response(table.names) else None
    return None if values is None else Column(f"the response {formula.response!r}", _is_missing(unboxed(values)))


def _is_missing(values: Any) -> np.ndarray:
    if pd is not None:
        return np.asarray(pd.isna(values), bool)
    array = np.asarray(values)
    if array.dtype.kind in "mM":
        return np.isnat(array)
    return np.array([value is None or value != value for value in array.tolist()], bool)
