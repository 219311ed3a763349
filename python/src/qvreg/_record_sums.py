"""Sums over the records of a fit that need its estimates."""

from __future__ import annotations

from collections.abc import Iterator
from functools import reduce
from operator import add

import numpy as np

from ._fit import Fit
from ._records import ChunkedRecords, Records


class UsedRecords:
    """The response and weights of the records that a linear fit has used, block by block."""

    def __init__(self, fit: Fit, records: Records | ChunkedRecords) -> None:
        self._fit, self._records = fit, records

    def sum_log_weights(self) -> float:
        """The sum of the logarithms of the weights."""
        return self._records.over_blocks(_sum_log_weights, add, self._fit)

    def centered_total(self) -> float:
        """The total sum of squares about the mean."""
        moments = self._records.over_blocks(_moments, add, self._fit)
        return self._records.over_blocks(_squares, add, self._fit, moments[1] / moments[0])


def _used(fit: Fit, blocks: Iterator[Records]) -> Iterator[tuple[np.ndarray, np.ndarray, np.ndarray]]:
    for block in blocks:
        residuals = _residuals(fit, block)[:, 0]
        weights, counts = _weights(fit, block)
        used = ~np.isnan(residuals) & (weights > 0) & (counts > 0)
        response = block.columns[fit.layout.dependent].numbers()
        yield response[used], weights[used], counts[used]


def _sum_log_weights(blocks: Iterator[Records], fit: Fit) -> float:
    return sum(float(counts @ np.log(weights)) for _, weights, counts in _used(fit, blocks))


def _moments(blocks: Iterator[Records], fit: Fit) -> np.ndarray:
    """The sum of the weights, and of the response with them."""
    moments = np.zeros(2)
    for response, weights, counts in _used(fit, blocks):
        joint = weights * counts
        moments += joint.sum(), joint @ response
    return moments


def _squares(blocks: Iterator[Records], fit: Fit, mean: float) -> float:
    """The sum of squares about `mean`."""
    return sum(float((weights * counts) @ (response - mean) ** 2)
               for response, weights, counts in _used(fit, blocks))


def robust_covariance(fit: Fit, records: Records | ChunkedRecords, kind: str) -> np.ndarray:
    """White's covariance matrix of all parameters: "hc0", or "hc1" times n / (n - parameters).

    That of "hc1" is NaN where there are no more observations than parameters.
    """
    size = fit.all_estimates.size
    products = np.zeros((size, size))
    products[np.tril_indices(size)] = records.over_blocks(_score_products, add, fit)
    products += np.tril(products, -1).T
    covariance = fit.covariance @ products @ fit.covariance
    if kind == "hc1":
        freedom = fit.total_weight - fit.estimates.size
        covariance *= fit.total_weight / freedom if freedom > 0 else np.nan
    return covariance


def _score_products(blocks: Iterator[Records], fit: Fit) -> np.ndarray:
    """The packed lower triangle of the sum of the products of score vectors."""
    size = fit.all_estimates.size
    sums = np.zeros(size * (size + 1) // 2)
    for block in blocks:
        weights, counts = _weights(fit, block)
        multipliers = _residuals(fit, block) * (weights * np.sqrt(counts))[:, np.newaxis]
        fit.add_score_products(block, multipliers, sums)
    return sums


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
