"""Sums over the records of a fit that need its estimates."""

from __future__ import annotations

from collections.abc import Iterator
from functools import reduce

import numpy as np

from ._fit import Fit
from ._records import ChunkedRecords, Records


class UsedRecords:
    """The response and weights of the records that a linear fit has used, block by block."""

    def __init__(self, fit: Fit, records: Records | ChunkedRecords) -> None:
        self._fit, self._records = fit, records

    def _blocks(self) -> Iterator[tuple[np.ndarray, np.ndarray, np.ndarray]]:
        for block in self._records.blocks():
            residuals = _residuals(self._fit, block)[:, 0]
            weights, counts = _weights(self._fit, block)
            used = ~np.isnan(residuals) & (weights > 0) & (counts > 0)
            response = block.columns[self._fit.layout.dependent].numbers()
            yield response[used], weights[used], counts[used]

    def sum_log_weights(self) -> float:
        """The sum of the logarithms of the weights."""
        return sum(float(counts @ np.log(weights)) for _, weights, counts in self._blocks())

    def centered_total(self) -> float:
        """The total sum of squares about the mean."""
        moments = np.zeros(2)
        for response, weights, counts in self._blocks():
            joint = weights * counts
            moments += joint.sum(), joint @ response
        mean = moments[1] / moments[0]
        return sum(float((weights * counts) @ (response - mean) ** 2)
                   for response, weights, counts in self._blocks())


def robust_covariance(fit: Fit, records: Records | ChunkedRecords, kind: str) -> np.ndarray:
    """White's covariance matrix of all parameters: "hc0", or "hc1" times n / (n - parameters)."""
    size = fit.all_estimates.size
    sums = np.zeros(size * (size + 1) // 2)
    for block in records.blocks():
        weights, counts = _weights(fit, block)
        multipliers = _residuals(fit, block) * (weights * np.sqrt(counts))[:, np.newaxis]
        fit.add_score_products(block, multipliers, sums)
    products = np.zeros((size, size))
    products[np.tril_indices(size)] = sums
    products += np.tril(products, -1).T
    covariance = fit.covariance @ products @ fit.covariance
    if kind == "hc1":
        covariance *= fit.total_weight / (fit.total_weight - fit.estimates.size)
    return covariance


def _residuals(fit: Fit, block: Records) -> np.ndarray:
    """Observed less predicted values, a column per equation; NaN where a value is missing."""
    observed = block.columns[fit.layout.dependent].numbers()
    if fit.is_linear:
        predicted, _ = fit.predict(block)
        return (observed - predicted)[:, np.newaxis]
    categories = fit.categories[:-1]
    residuals = (observed[:, np.newaxis] == categories) - fit.probabilities(block)[:, :-1]
    residuals[np.isnan(observed)] = np.nan
    return residuals


def _weights(fit: Fit, block: Records) -> tuple[np.ndarray, np.ndarray]:
    """Regression and frequency weights, 1 where there are none, 0 where the record is left out."""
    pair = [np.ones(block.n_rows) if position is None
            else np.nan_to_num(block.columns[position].numbers(), nan=0.0)
            for position in (fit.layout.weights, fit.layout.freq_weights)]
    left_out = reduce(np.logical_or, [weights <= 0 for weights in pair])
    for weights in pair:
        if left_out.any():
            weights[left_out] = 0.0
    return pair[0], pair[1]
