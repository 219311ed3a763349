"""The expressions of a formula: evaluated by patsy, with what the data have taught of them."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

import numpy as np

from ._columns import Column, codes, declared_levels, distinct_values, is_nullable_number, numbers, sorted_levels
from ._design import Variable
from ._hints import check_syntax, quoting, unknown
from ._tables import Table, Tables, listed
from .errors import DataError, FormulaError


# What formulas of saved models find beside columns and patsy's own functions.
SAVED_NAMES = {"np": np, "numpy": np}
# A factor of more levels with fewer rows to each than this is probably none.
_MOST_SPARSE_LEVELS, _LEAST_ROWS_PER_LEVEL = 10, 2


def patsy_module() -> Any:
    try:
        import patsy
    except ImportError as error:
        raise ImportError("Formulas need patsy: install it (pip install patsy), or use the estimators of "
                          "qvreg.sklearn, which take arrays.") from error
    return patsy


class Expression:
    """One factor of a formula in patsy's sense: an expression that gives a column, or several.

    Attributes
    ----------
    name : str
        What the formula says.
    variables : list of Variable
        What the expression is, once that is learned.
    is_stateful : bool
        Whether it remembers something of the data it was learned from, as `center` does.
    """

    def __init__(self, factor: Any, environment: Any) -> None:
        check_syntax(factor)
        self.name = factor.name()
        self.variables: list[Variable] = []
        self._factor = factor
        self._state: dict = {}
        self._columns: set = set()
        self._passes = factor.memorize_passes_needed(self._state, environment)

    def unsaved_names(self) -> list[str]:
        """What it takes from the caller, beside columns, that is not there where a saved model is read."""
        patsy = patsy_module()
        known = {name: getattr(patsy.builtins, name) for name in patsy.builtins.__all__}
        known.update(SAVED_NAMES)
        found = self._state["eval_env"].namespace
        return [name for name in sorted(set(patsy.eval.ast_names(self._factor.code)))
                if name in found and name not in self._columns and found[name] is not known.get(name)]

    @property
    def is_stateful(self) -> bool:
        return self._passes > 0

    def memorize(self, tables: Tables) -> None:
        """Shows the data to stateful functions."""
        for number in range(self._passes):
            for table in tables:
                with _sentences(self._factor, table):
                    self._factor.memorize_chunk(self._state, number, table)
            self._factor.memorize_finish(self._state, number)

    def values(self, table: Table) -> Any:
        """What the expression is for the rows of `table`; what C() adds stays about it."""
        self._columns.update(table.names)
        with _sentences(self._factor, table):
            values = self._factor.eval(self._state, table)
            if np.ndim(unboxed(values)) == 0:
                raise FormulaError(f"The term {self.name!r} is one {type(values).__name__}, not a value per row."
                                   f"{quoting(self._factor, table.names)}")
            return values

    def columns(self, values: Any) -> list[Column]:
        """Its variables for rows of which it has these `values`."""
        name = f"the term {self.name!r}"
        first = self.variables[0]
        if first.is_factor:
            return [codes(name, unboxed(values), first.levels, first.code_of_level)]
        if len(self.variables) == 1:
            return [numbers(name, values)]
        array = np.asarray(values)
        return [numbers(f"the term {variable.name!r}", array[:, variable.column]) for variable in self.variables]


class _sentences:
    """Turns what patsy raises about an expression into a sentence of ours."""

    def __init__(self, factor: Any, table: Table) -> None:
        self._factor, self._table = factor, table

    def __enter__(self) -> None:
        return None

    def __exit__(self, kind: Any, raised: Any, _trace: Any) -> None:
        if raised is None or not isinstance(raised, Exception):
            return
        cause = raised.__cause__ or raised
        if isinstance(cause, (DataError, FormulaError)):
            raise cause
        names = self._table.names
        if isinstance(cause, NameError):
            missing = str(cause).split("'")[1] if "'" in str(cause) else str(cause)
            raise FormulaError(unknown(self._factor, missing, names)) from cause
        reason = str(raised).splitlines()[0].rstrip(".")
        raise FormulaError(f"The term {self._factor.name()!r} cannot be evaluated: {reason}."
                           f"{quoting(self._factor, names)}") from cause


class Learning:
    """What the tables say of an expression: whether it is a number or a factor, and of which levels."""

    def __init__(self, name: str, base: Any = None) -> None:
        self._name, self._base = name, base
        self._is_factor: bool | None = None
        self._columns: list[str] = []
        self._levels = Levels(f"The term {name!r}")
        self._contrast: Any = None
        self._is_said = False
        self._n_rows = 0

    def see(self, values: Any) -> None:
        """Takes the values of a table."""
        if _is_nothing(values):
            self._columns = self._columns or _column_names(self._name, values)
            return
        is_factor = is_categorical(values)
        if self._is_factor not in (None, is_factor):
            raise DataError(f"The term {self._name!r} is a number in some chunks and a category in others. Read its "
                            "column with one type.")
        self._is_factor = is_factor
        if is_factor:
            self._is_said = self._is_said or hasattr(values, "contrast")
            self._contrast = getattr(values, "contrast", None)
            self._levels.see(unboxed(values), getattr(values, "levels", None))
            self._n_rows += len(unboxed(values))
        else:
            self._columns = _column_names(self._name, values)

    def variables(self) -> list[Variable]:
        """What was learned."""
        if not self._is_factor:
            return [Variable(name, column=column) for column, name in enumerate(self._columns)]
        levels = self._levels.all()
        if not levels:
            raise DataError(f"The term {self._name!r} has no value that is not missing.")
        base = self._base
        position = (_base_level(self._name, self._contrast, levels) if base is None
                    else _level(self._name, base, levels))
        return [Variable(self._name, levels, position)]


    def doubt(self) -> str | None:
        """A sentence on a factor that is probably none: text or objects that differ in nearly every row."""
        if not self._is_factor or self._is_said or self._levels.are_declared:
            return None
        count = len(self._levels.all())
        if count <= _MOST_SPARSE_LEVELS or count * _LEAST_ROWS_PER_LEVEL <= self._n_rows:
            return None
        return (f"The term {self._name!r} is text or objects, and so a factor: it has {count} levels in {self._n_rows} "
                "rows. If they are numbers, convert the column, as with pandas.to_numeric; C(…) says that they are "
                "levels.")


class Levels:
    """The levels of a factor, or the classes of a response, over all tables.

    Parameters
    ----------
    name : str
        What a sentence on them begins with.
    must_occur : bool
        Whether declared levels without a row are left out.
    """

    def __init__(self, name: str, must_occur: bool = False) -> None:
        self._name = name
        self._must_occur = must_occur
        self._levels: dict = {}
        self._occurring: set = set()
        self.are_declared = True

    def see(self, values: Any, declared: Sequence | None = None) -> None:
        """Takes the values of a table, and the levels that are `declared` for them, if any."""
        declared = declared if declared is not None else declared_levels(values)
        self.are_declared = self.are_declared and declared is not None
        try:
            distinct = distinct_values(values) if declared is None or self._must_occur else []
        except TypeError as error:
            raise DataError(f"{self._name} has values that can be no levels: {error}. Convert them, as to "
                            "text.") from error
        self._levels.update(dict.fromkeys(distinct if declared is None else declared))
        self._occurring.update(distinct)

    def all(self) -> tuple:
        """The levels: in the order declared, or sorted."""
        levels = tuple(self._levels) if self.are_declared else sorted_levels(list(self._levels))
        return tuple(level for level in levels if level in self._occurring) if self._must_occur else levels


def unboxed(values: Any) -> Any:
    """The values without what C() adds."""
    inner = values.data if hasattr(values, "contrast") else values
    return inner if hasattr(inner, "dtype") else np.asarray(inner)


def is_categorical(values: Any) -> bool:
    """Whether patsy takes `values` for a factor; pandas' nullable numbers are numbers here."""
    return not is_nullable_number(values) and patsy_module().categorical.guess_categorical(values)


def _is_nothing(values: Any) -> bool:
    """Whether `values` are all NaN, as what is read of empty cells is, of text, too."""
    array = np.asarray(unboxed(values))
    return array.ndim == 1 and array.dtype.kind == "f" and bool(np.isnan(array).all())


def _base_level(name: str, contrast: Any, levels: tuple) -> int:
    if contrast is None:
        return 0
    treatment = patsy_module().Treatment
    reference = None
    if contrast is not treatment:
        if not isinstance(contrast, treatment):
            kind = getattr(contrast, "__name__", type(contrast).__name__)
            raise FormulaError(f"{name} asks for {kind} contrasts: only treatment coding is offered. Write "
                               "C(…) or C(…, Treatment(\"level\")).")
        reference = contrast.reference
    return 0 if reference is None else _level(name, reference, levels)


def _level(name: str, reference: Any, levels: tuple) -> int:
    """The position of the level `reference`, which may be given by its position too."""
    if reference in levels:
        return levels.index(reference)
    if isinstance(reference, (int, np.integer)) and -len(levels) <= reference < len(levels):
        return int(reference) % len(levels)
    raise FormulaError(f"{name} has no level {reference!r} to be the base. The levels are "
                       f"{listed(levels)}.")


def _column_names(name: str, values: Any) -> list[str]:
    shape = np.shape(values)
    if len(shape) == 2 and shape[1] > 1:
        return [f"{name}[{column}]" for column in range(shape[1])]
    if len(shape) > 2:
        raise FormulaError(f"The term {name!r} has {len(shape)} dimensions: one or two are possible.")
    return [name]
