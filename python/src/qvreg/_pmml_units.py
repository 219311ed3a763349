"""Estimates and covariances in the data's units, as PMML has them, and those of a component.

A component has them in units of its own. They differ by powers of two and the residual variance: most numbers
come back to the last bit when they are converted, and those that do not are kept as corrections.
"""

from __future__ import annotations

from ctypes import c_double
from dataclasses import dataclass

import numpy as np

from . import _library as lib
from ._model_text import Node, Tree
from ._number_text import number_text, numbers_text, read_number, read_numbers, read_whole, read_wholes, wholes_text
from ._pmml_variables import FARTHEST_POWER

MOST_COVARIANCE_ROWS = 1000


@dataclass
class DataEstimates:
    """Estimates, and the lower triangle of their covariance row by row, which may be empty."""

    estimates: np.ndarray
    covariance: np.ndarray


@dataclass
class Units:
    """What a component's own numbers are made of beside those of the data.

    Attributes
    ----------
    exponents, dependent_exponent
        Of the powers of two that columns and the dependent are divided by.
    variance : float, optional
        What the component's covariance is multiplied by.
    degrees_of_freedom : float, optional
        Of a linear model that has residual ones.
    """

    exponents: np.ndarray
    dependent_exponent: int
    variance: float | None
    degrees_of_freedom: float | None = None
    is_divided: bool = False
    covariance: np.ndarray | None = None
    estimate_corrections: str = ""
    covariance_corrections: str = ""
    host_corrections: str = ""

    def powers(self) -> np.ndarray:
        """A parameter times 2 to this power is in the data's units."""
        return self.dependent_exponent - self.exponents


def _pairs(size: int) -> tuple[np.ndarray, np.ndarray]:
    return np.tril_indices(size)


def _sums(values: np.ndarray) -> np.ndarray:
    """Of every two of the values."""
    rows, columns = _pairs(len(values))
    return values[rows] + values[columns]


def _elements(numbers: Node, name: str, is_always: bool) -> np.ndarray | None:
    if is_always:
        return read_numbers(numbers[name].text)
    node = numbers.find(name)
    return None if node is None else read_numbers(node["elements"].text)


def to_data(tree: Tree, component: lib.Handle) -> tuple[DataEstimates, Units]:
    """The estimates of a component in the data's units, and what brings its own back."""
    numbers, results = tree["numbers"], lib.make("results", "component_get_results", component)
    own = read_numbers(numbers["estimates"].text)
    host = _elements(numbers, "covariance", tree.is_linear)
    divided = _elements(numbers, "dividedCovariance", False)
    scaled = lib.get(lib.ScaledSummary, "scaled_get_summary", results)
    exponents = lib.get_array(np.int32, "scaled_get_exponents", results)
    units = Units(exponents, scaled.dependent_exponent, 1.0, is_divided=divided is not None)
    if tree.is_linear:
        units.degrees_of_freedom, units.variance = _residual_variance(tree, scaled.rmse)
    if len(own) > MOST_COVARIANCE_ROWS:
        units.variance = None

    with np.errstate(over="ignore", under="ignore", invalid="ignore"):
        data = DataEstimates(np.ldexp(own, units.powers()), np.empty(0))
        covariance = (host if divided is None else divided)[:len(own) * (len(own) + 1) // 2]
        if units.variance is None:
            units.covariance = covariance
        else:
            data.covariance = np.ldexp(units.variance * covariance, _sums(units.powers()))
        units.estimate_corrections = _corrections(own, _own_estimates(data, units))
        units.covariance_corrections = _corrections(covariance, _own_covariance(data, units))
        units.host_corrections = _corrections(host, _host_covariance(covariance, units, tree.is_linear))
    return data, units


def _residual_variance(tree: Tree, rmse: float) -> tuple[float | None, float | None]:
    """Degrees of freedom and variance of the residuals; None for both where there is no variance."""
    imposed = read_number(tree["settings"]["degreesOfFreedom"].text)
    total = read_number(tree["tables"]["frequencyWeight"].text)
    degrees = imposed if imposed > 0 else total - sum(read_wholes(tree["numbers"]["kept"].text))
    if rmse == lib.MISSING_VALUE or not np.isfinite(rmse) or not degrees > 0:
        return None, None
    error = rmse * np.sqrt(total / degrees)
    variance = error * error
    # A robust matrix would have degrees of freedom without a variance; here one needs the other.
    return (degrees, float(variance)) if np.isfinite(error) and np.isfinite(variance) else (None, None)


def _own_estimates(data: DataEstimates, units: Units) -> np.ndarray:
    return np.ldexp(data.estimates, -units.powers())


def _own_covariance(data: DataEstimates, units: Units) -> np.ndarray:
    """The covariance that the data's is made of, but for corrections."""
    if units.variance is None or not len(data.covariance):
        return np.empty(0) if units.covariance is None else units.covariance
    with np.errstate(divide="ignore"):
        return np.ldexp(data.covariance, -_sums(units.powers())) / np.float64(units.variance)


def _host_covariance(own: np.ndarray, units: Units, is_linear: bool) -> np.ndarray:
    """That of columns that are not divided: of a linear model with a row of zeros for the dependent."""
    host = np.ldexp(own, -_sums(units.exponents))
    return np.concatenate([host, np.zeros(len(units.exponents) + 1)]) if is_linear else host


def _corrections(numbers: np.ndarray, converted: np.ndarray) -> str:
    """The numbers that differ from the `converted` ones: the place of each, and itself."""
    differ = np.flatnonzero(numbers.view(np.int64) != np.ascontiguousarray(converted).view(np.int64))
    return " ".join(f"{place} {number_text(numbers[place])}" for place in differ)


def _correct(text: str, numbers: np.ndarray) -> np.ndarray:
    """The numbers with those of such a text in their places; a ValueError for places that there are not."""
    words = text.split(" ") if text else []
    if len(words) % 2:
        raise ValueError("corrections")
    corrected = np.array(numbers)
    for place, number in zip(words[::2], words[1::2]):
        if not 0 <= read_whole(place) < len(corrected):
            raise ValueError("corrections")
        corrected[read_whole(place)] = read_number(number)
    return corrected


def node_of(units: Units) -> Node:
    """The units as a part of PMML."""
    parts = [Node("exponents", wholes_text(units.exponents)), Node("dependentExponent", str(units.dependent_exponent))]
    if units.variance is not None:
        parts.append(Node("residualVariance", "", [Node("variance", number_text(units.variance))]))
    parts += [Node("dividedCovariance", str(int(units.is_divided))),
              Node("covariance", "" if units.covariance is None else numbers_text(units.covariance)),
              Node("estimateCorrections", units.estimate_corrections),
              Node("covarianceCorrections", units.covariance_corrections),
              Node("hostCorrections", units.host_corrections)]
    return Node("estimates", "", parts)


def units_of(node: Node) -> Units:
    """The units that a part of PMML holds; a ValueError for others."""
    variance = node.find("residualVariance")
    exponents = read_wholes(node["exponents"].text)
    dependent_exponent = read_whole(node["dependentExponent"].text)
    if max(map(abs, [dependent_exponent, *exponents])) > FARTHEST_POWER:
        raise ValueError("Extension 'exponents'")
    return Units(np.array(exponents, np.int32), dependent_exponent,
                 None if variance is None else read_number(variance["variance"].text),
                 is_divided=bool(read_whole(node["dividedCovariance"].text)),
                 covariance=read_numbers(node["covariance"].text),
                 estimate_corrections=node["estimateCorrections"].text,
                 covariance_corrections=node["covarianceCorrections"].text,
                 host_corrections=node["hostCorrections"].text)


def numbers_of(data: DataEstimates, units: Units, kept: list[bool], is_linear: bool) -> Node:
    """The part of a component's tree with its own numbers; a ValueError where they do not fit together."""
    if len(units.exponents) != len(data.estimates):
        raise ValueError("Extension 'exponents'")
    with np.errstate(over="ignore", under="ignore", invalid="ignore"):
        estimates = _correct(units.estimate_corrections, _own_estimates(data, units))
        covariance = _own_covariance(data, units)
        if len(covariance) != len(estimates) * (len(estimates) + 1) // 2:
            raise ValueError("Extension 'covariance'")
        covariance = _correct(units.covariance_corrections, covariance)
        host = _correct(units.host_corrections, _host_covariance(covariance, units, is_linear))
    parts = [Node("kept", wholes_text(kept)), Node("estimates", numbers_text(estimates)),
             Node("covariance", numbers_text(host)) if is_linear else _triangle("covariance", host)]
    if units.is_divided:
        parts.append(_triangle("dividedCovariance", covariance))
    return Node("numbers", "", parts)


def _triangle(name: str, elements: np.ndarray) -> Node:
    return Node(name, "", [Node("elements", numbers_text(elements))])
