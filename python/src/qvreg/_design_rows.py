"""Rows of the design, for what is computed of them after a fit; those of a block of records at a time."""

from __future__ import annotations

from collections.abc import Iterator

import numpy as np

from ._design import ParameterTable, Term
from ._records import Records

# Numbers of a block's widest array: 8 MB.
_BLOCK_NUMBERS = 1 << 20


def narrow_blocks(records: Records, width: int) -> Iterator[Records]:
    """Consecutive records, few enough for arrays with `width` numbers for each."""
    return records.blocks(max(1, _BLOCK_NUMBERS // max(1, width)))


class DesignRows:
    """The design rows of one equation, in the library's order of parameters.

    A term with factors has one column at most that is not 0 in a row, and is kept as its place and
    value. Rows with a missing value are 0; those with levels that have no parameter mean nothing.

    Parameters
    ----------
    table : ParameterTable
        What the columns are.
    records : Records
        The variables of the design come first.
    """

    def __init__(self, table: ParameterTable, records: Records) -> None:
        self._width = len(table.parameters)
        self._values = [column.numbers() for column in records.columns[:len(table.design.variables)]]
        self._n_rows = records.n_rows
        self._table = table
        is_known = np.logical_and.reduce([~np.isnan(values) for values in self._values]
                                         or [np.ones(self._n_rows, bool)])
        plain: list[np.ndarray] = []
        self._plain_places: list[int] = []
        self._sparse: list[tuple[np.ndarray, np.ndarray]] = []
        for number, places in self._places_by_term().items():
            term = Term(()) if number < 0 else table.design.terms[number]
            product = self._product(term)
            if table.design.factors_of(term):
                self._sparse.append((self._find(term, places), product))
            else:
                plain.append(product)
                self._plain_places += places
        self._plain = np.column_stack([*plain, np.empty((self._n_rows, 0))])
        self._plain[~is_known] = 0.0
        for _, product in self._sparse:
            product[~is_known] = 0.0

    def _places_by_term(self) -> dict[int, list[int]]:
        places: dict[int, list[int]] = {}
        for place, parameter in enumerate(self._table.parameters):
            places.setdefault(parameter.term, []).append(place)
        return places

    def _product(self, term: Term) -> np.ndarray:
        """The product of the numbers of `term`."""
        product = np.ones(self._n_rows)
        for part in term.parts:
            if not self._table.design.variables[part.variable].is_factor:
                product *= self._values[part.variable]
        return product

    def _find(self, term: Term, places: list[int]) -> np.ndarray:
        """Among `places`, those of the parameters of `term`, that of every row."""
        design = self._table.design
        keys, row_keys = np.zeros(len(places), np.int64), np.zeros(self._n_rows, np.int64)
        for part in design.factors_of(term):
            variable = design.variables[part.variable]
            codes = variable.code_of_level.astype(np.int64)
            levels = [self._table.parameters[place].levels[part.variable] for place in places]
            keys = keys * len(codes) + codes[levels]
            row_keys = row_keys * len(codes) + np.nan_to_num(self._values[part.variable]).astype(np.int64)
        order = np.argsort(keys)
        found = np.searchsorted(keys, row_keys, sorter=order)
        return np.asarray(places)[order[np.minimum(found, len(keys) - 1)]]

    def times(self, matrix: np.ndarray) -> np.ndarray:
        """The rows times `matrix`."""
        product = self._plain @ matrix[self._plain_places]
        for places, values in self._sparse:
            product += values[:, np.newaxis] * matrix[places]
        return product

    def dot(self, rows: np.ndarray) -> np.ndarray:
        """The scalar product of each row with that of `rows`."""
        product = np.einsum("ij,ij->i", self._plain, rows[:, self._plain_places])
        for places, values in self._sparse:
            product += values * rows[np.arange(self._n_rows), places]
        return product

    def sums(self, weights: np.ndarray) -> np.ndarray:
        """The sum of the rows, for every column of `weights` times that: a row for each."""
        sums = np.zeros((weights.shape[1], self._width))
        sums[:, self._plain_places] = weights.T @ self._plain
        for places, values in self._sparse:
            for sum_of_rows, column in zip(sums, weights.T):
                sum_of_rows += np.bincount(places, column * values, self._width)
        return sums
