"""A model with a formula: its records for a fit, and for predictions."""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import asdict, dataclass, field
from typing import Any

import numpy as np

from ._columns import Column, codes, numbers, start
from ._design import Variable
from ._expressions import patsy_module, unboxed
from ._fit import Layout
from ._formula import Formula
from ._named import NamedFormula
from ._records import ChunkedRecords, Records, blocks
from ._saved_formulas import SAVED_NAMES
from ._saving import plain_levels
from ._tables import Table, Tables
from .errors import DataError


@dataclass
class Weights:
    """What the weights of a fit are: names of columns, values, or None."""

    weights: Any = None
    freq_weights: Any = None

    def names(self) -> list[str]:
        """Those that there are, in the order of their columns."""
        return [name for name in ("weights", "freq_weights") if getattr(self, name) is not None]

    def columns(self) -> dict[str, str]:
        """The columns of those that were given by the name of one."""
        return {name: getattr(self, name) for name in self.names() if isinstance(getattr(self, name), str)}

    def column(self, name: str, table: Table) -> Column:
        """The weights `name` for the rows of `table`."""
        given = getattr(self, name)
        if isinstance(given, str):
            if given not in table.names:
                raise DataError(f"{name}={given!r} names no column of the data.")
            given = table[given]
        column = numbers(_weight_name(name), given)
        if column.values.size and np.nanmin(column.values) < 0:
            raise DataError(f"{start(column.name)} has negative values: weights are 0 or more.")
        if name == "freq_weights":
            _refuse_fractions(column)
        return column

    def check_columns(self, rows: str) -> None:
        """Weights of chunks, or what else `rows` says, are columns of them."""
        for name in self.names():
            if not isinstance(getattr(self, name), str):
                raise DataError(f"{name} of {rows} is the name of one of their columns.")


def _refuse_fractions(column: Column) -> None:
    if column.values.dtype.kind != "f":
        return
    for rows in blocks(len(column)):
        values = column.values[rows]
        fractions = values[(np.floor(values) != values) & ~np.isnan(values)]
        if fractions.size:
            raise DataError(f"{start(column.name)} has the value {fractions[0]}: it says how often a row was observed, "
                            "and is whole. weights= takes the precision of rows.")


def _weight_name(name: str) -> str:
    return f"the argument {name}"


@dataclass
class Model:
    """A formula, the classes of its response and where its columns stand in a record.

    Attributes
    ----------
    kind : {"ols", "logit", "mnlogit"}
        The function that fitted it.
    formula : Formula
        The formula.
    classes : tuple, optional
        The classes of the response; None of a linear model.
    layout : Layout
        The positions of the response and of weights.
    weight_columns : dict
        The columns of ``weights`` and ``freq_weights`` by these names, where columns were named.
    """

    kind: str
    formula: Formula | NamedFormula
    classes: tuple | None
    layout: Layout
    weight_columns: dict[str, str] = field(default_factory=dict)

    @classmethod
    def of(cls, kind: str, formula: Formula, classes: tuple | None, weights: Weights) -> Model:
        """The model whose records are the variables, the response, then the weights."""
        dependent = len(formula.design.variables)
        positions = {name: dependent + 1 + i for i, name in enumerate(weights.names())}
        return cls(kind, formula, classes, Layout(dependent, **positions), weights.columns())

    def __repr__(self) -> str:
        return f"<Model {self.kind} of {self.formula.text!r}>"

    @property
    def endog_names(self) -> str:
        """The response."""
        return self.formula.response

    def records(self, tables: Tables, weights: Weights) -> Records | ChunkedRecords:
        """The records of a fit."""
        if tables.is_whole:
            return Records(self._columns(next(iter(tables)), weights))
        weights.check_columns("chunks")

        def make() -> Iterator[Records]:
            return (self.part(table, weights) for table in tables)

        return ChunkedRecords(make, self.record_names(weights))

    def part(self, table: Table, weights: Weights) -> Records:
        """Some of the records of a fit, for the rows of `table`."""
        return Records(self._columns(table, weights))

    def record_names(self, weights: Weights) -> list[str]:
        """What messages call the columns of a record."""
        names = [f"the term {variable.name!r}" for variable in self.formula.design.variables]
        return [*names, self._response_name, *map(_weight_name, weights.names())]

    @property
    def _response_name(self) -> str:
        return f"the response {self.formula.response!r}"

    def _columns(self, table: Table, weights: Weights) -> list[Column]:
        return [*self.formula.columns(table), self._response(table),
                *(weights.column(name, table) for name in weights.names())]

    def _response(self, table: Table) -> Column:
        values = self.formula.response_values(table)
        if self.classes is None:
            return numbers(self._response_name, values)
        return codes(self._response_name, unboxed(values), self.classes,
                     np.arange(len(self.classes), dtype=float))

    def new_records(self, data: Any) -> Records:
        """Rows of `data` for scoring, which needs the variables of the right side alone."""
        table = Table(data)
        columns = self.formula.columns(table)
        return Records(columns, None if columns else table.n_rows)

    def to_dict(self) -> dict:
        """The model as JSON can keep it."""
        if isinstance(self.formula, NamedFormula):
            return {"named": self.formula.to_dict(), "kind": self.kind, "layout": asdict(self.layout),
                    "weight_columns": self.weight_columns}
        variables = [[{**asdict(variable), "levels": plain_levels(variable.levels)} for variable in learned]
                     for learned in self.formula.variables()]
        return {"kind": self.kind, "formula": self.formula.text, "variables": variables,
                "states": self.formula.states(), "classes": plain_levels(self.classes), "layout": asdict(self.layout),
                "weight_columns": self.weight_columns}

    @classmethod
    def from_dict(cls, described: dict) -> Model:
        """What `to_dict` has made `described` of."""
        if "named" in described:
            named = NamedFormula.from_dict(described["named"])
            return cls(described["kind"], named, named.classes, Layout(**described["layout"]),
                       described["weight_columns"])
        formula = Formula(described["formula"], patsy_module().EvalEnvironment([SAVED_NAMES]))
        formula.refuse_unsaved()
        formula.take([[Variable(v["name"], _tuple(v["levels"]), v["base"], v["column"]) for v in learned]
                      for learned in described["variables"]], described.get("states", []))
        return cls(described["kind"], formula, _tuple(described["classes"]), Layout(**described["layout"]),
                   described.get("weight_columns", {}))


def _tuple(values: list | None) -> tuple | None:
    return None if values is None else tuple(values)


@dataclass
class Extras:
    """What results need beside the fit: sums over the records that the library does not keep.

    Attributes
    ----------
    cov_type : {"nonrobust", "hc0", "hc1"}
        The kind of covariance matrix.
    robust_covariance : numpy.ndarray, optional
        Of all parameters, where that is not "nonrobust".
    centered_total : float, optional
        The total sum of squares about the mean, of a constant that is no intercept.
    sum_log_weights : float
        The sum of the logarithms of the regression weights.
    digest : str, optional
        Of the records used: see `RecordDigest`.
    """

    cov_type: str = "nonrobust"
    robust_covariance: np.ndarray | None = None
    centered_total: float | None = None
    sum_log_weights: float = 0.0
    digest: str | None = None

    def to_dict(self) -> dict:
        """The numbers as JSON can keep them, to the last bit."""
        robust = self.robust_covariance
        return {"cov_type": self.cov_type, "centered_total": self.centered_total,
                "sum_log_weights": self.sum_log_weights, "digest": self.digest,
                "robust_covariance": None if robust is None else robust.tolist()}

    @classmethod
    def from_dict(cls, described: dict) -> Extras:
        """What `to_dict` has made `described` of."""
        robust = described["robust_covariance"]
        return cls(**{**described, "robust_covariance": None if robust is None else np.array(robust)})
