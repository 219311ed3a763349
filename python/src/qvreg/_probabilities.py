"""What the estimates of a logistic model say of probabilities, with errors by the delta method."""

from __future__ import annotations

import numpy as np

from ._design_rows import DesignRows, narrow_blocks
from ._fit import Fit
from ._records import Records
from .errors import DataError


def _derivatives(probabilities: np.ndarray) -> np.ndarray:
    """Of the probability of class k by the linear predictor of equation e, for every row: its [row, k, e]."""
    n_equations = probabilities.shape[1] - 1
    derivatives = -probabilities[:, :, np.newaxis] * probabilities[:, np.newaxis, :n_equations]
    for equation in range(n_equations):
        derivatives[:, equation, equation] = probabilities[:, equation] * others(probabilities)[:, equation]
    return derivatives


def others(probabilities: np.ndarray) -> np.ndarray:
    """1 less each probability, with the digits that those of the other classes have."""
    n_classes = probabilities.shape[1]
    return probabilities @ (1.0 - np.eye(n_classes))


def errors_of_probabilities(fit: Fit, records: Records, covariance: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """The probabilities of `records` and their standard errors, a column for each of the fit's categories.

    `covariance` is that of all parameters. NaN where a value is missing.
    """
    probabilities, errors = (np.empty((records.n_rows, fit.n_equations + 1)) for _ in range(2))
    row = 0
    for block in narrow_blocks(records, max(fit.width, fit.n_equations ** 2)):
        rows = slice(row, row + block.n_rows)
        row = rows.stop
        probabilities[rows] = fit.probabilities(block)
        derivatives = _derivatives(probabilities[rows])
        variances = np.einsum("nke,nef,nkf->nk", derivatives, _predictor_covariance(fit, block, covariance),
                              derivatives, optimize=True)
        errors[rows] = np.sqrt(np.maximum(variances, 0.0))
    return probabilities, errors


def _predictor_covariance(fit: Fit, block: Records, covariance: np.ndarray) -> np.ndarray:
    """The covariance matrix of the linear predictors of every row."""
    design_rows, width = DesignRows(fit.table, block), fit.width
    products = np.empty((block.n_rows, fit.n_equations, fit.n_equations))
    for first in range(fit.n_equations):
        for second in range(first + 1):
            part = covariance[first * width:(first + 1) * width, second * width:(second + 1) * width]
            products[:, first, second] = products[:, second, first] = design_rows.dot(design_rows.times(part))
    return products


def average_effects(fit: Fit, records: Records, counts: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Averages over `records` of the derivatives of probabilities by columns of the design.

    Parameters
    ----------
    fit : Fit
        A logistic model.
    records : Records
        Rows with missing values are left out.
    counts : numpy.ndarray
        How often each row counts.

    Returns
    -------
    effects : numpy.ndarray
        A row for each of the fit's categories, a column for each parameter of an equation.
    jacobian : numpy.ndarray
        Their derivatives by the estimates: [category, column, equation, parameter].

    Raises
    ------
    DataError
        Where no row counts.
    """
    n_equations, width = fit.n_equations, fit.width
    total, means, products = 0.0, np.zeros(n_equations + 1), np.zeros((n_equations + 1, n_equations))
    mean_slopes = np.zeros((n_equations + 1, n_equations, width))
    product_slopes = np.zeros((n_equations + 1, n_equations, n_equations, width))
    row = 0
    for block in narrow_blocks(records, max(width, n_equations ** 2)):
        probabilities, design_rows = fit.probabilities(block), DesignRows(fit.table, block)
        weights = np.where(np.isnan(probabilities[:, 0]), 0.0, counts[row:row + block.n_rows])[:, np.newaxis]
        row += block.n_rows
        probabilities = np.nan_to_num(probabilities)
        derivatives = _derivatives(probabilities)
        total += weights.sum()
        means += (weights * probabilities).sum(axis=0)
        products += (weights * probabilities).T @ probabilities[:, :-1]
        for category in range(n_equations + 1):
            slopes = weights * derivatives[:, category]
            mean_slopes[category] += design_rows.sums(slopes)
            for other in range(n_equations):
                both = (slopes * probabilities[:, [other]]
                        + weights * probabilities[:, [category]] * derivatives[:, other])
                product_slopes[category, other] += design_rows.sums(both)
    if not total > 0:
        raise DataError(f"get_margeff has no row to average over: {_why_none(records.n_rows)}.")
    return _effects(fit, means / total, products / total, mean_slopes / total, product_slopes / total)


def _why_none(n_rows: int) -> str:
    return (f"all {n_rows} have a missing value, a weight of 0 or a combination of levels that the fit has not seen"
            if n_rows else "the data have none")


def _effects(fit: Fit, means: np.ndarray, products: np.ndarray, mean_slopes: np.ndarray,
             product_slopes: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """As `average_effects`, of the means of probabilities and of their products, and of these by the estimates."""
    own = np.zeros_like(products)
    own[:fit.n_equations] = np.diag(means[:-1])
    weights = own - products  # of the estimates of each equation in the effects of each category
    effects = weights @ fit.all_estimates
    jacobian = -np.einsum("kefm,ej->kjfm", product_slopes, fit.all_estimates)
    for equation in range(fit.n_equations):
        jacobian[equation] += np.einsum("fm,j->jfm", mean_slopes[equation], fit.all_estimates[equation])
    columns = np.arange(fit.width)
    jacobian[:, columns, :, columns] += weights  # numpy puts the columns first
    return effects, jacobian
