"""The expressions of a formula: evaluated by patsy, with what the data have taught of them."""

from __future__ import annotations

import ast
import builtins
from collections.abc import Sequence
from types import ModuleType
from typing import Any

import numpy as np

from . import _states
from ._columns import Column, codes, declared_levels, distinct_values, is_nullable_number, numbers, sorted_levels
from ._design import Variable
from ._hints import check_syntax, quoting, unknown
from ._saved_formulas import SAVED_NAMES, unsaved_use
from ._tables import Table, Tables, listed
from .errors import DataError, FormulaError


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
    """

    def __init__(self, factor: Any, environment: Any) -> None:
        check_syntax(factor)
        self.name = factor.name()
        self.variables: list[Variable] = []
        self._factor = factor
        self._state: dict = {}
        self._columns: set = set()
        try:
            self._passes = factor.memorize_passes_needed(self._state, environment)
        except patsy_module().PatsyError as error:
            raise FormulaError(f"The formula cannot be read: {error}") from error

    def column_alone(self) -> tuple[str | None, bool]:
        """The column that the expression is and nothing else, None for none; and whether ``C()`` is about it."""
        tree = ast.parse(self._factor.code, mode="eval").body
        is_boxed = _called(tree) == "C" and len(tree.args) > 0
        return _column(tree.args[0] if is_boxed else tree), is_boxed

    def columns_used(self, columns: Sequence) -> list:
        """Those of `columns` that it names, as text for Q(), too."""
        named = {node.value if isinstance(node, ast.Constant) else getattr(node, "id", None)
                 for node in ast.walk(ast.parse(self._factor.code))
                 if isinstance(node, ast.Name) or (isinstance(node, ast.Constant) and isinstance(node.value, str))}
        return [column for column in columns if column in named]

    def names_taken(self, columns: Sequence) -> dict[str, Any]:
        """What it takes from the caller, by name; an exception for a name that is nothing."""
        patsy = patsy_module()
        found = self._state["eval_env"].namespace
        taken = {}
        bound = {getattr(node, "arg", None) or getattr(node, "id", None)
                 for node in ast.walk(ast.parse(self._factor.code))
                 if isinstance(node, ast.arg) or (isinstance(node, ast.Name) and isinstance(node.ctx, ast.Store))}
        for name in set(patsy.eval.ast_names(self._factor.code)).difference(columns, bound):
            if name in found:
                taken[name] = found[name]
            elif not hasattr(builtins, name):
                raise FormulaError(unknown(self._factor, name, columns))
        return {name: value for name, value in taken.items()
                if name not in patsy.builtins.__all__ or value is not getattr(patsy.builtins, name)}

    def is_of(self, columns: Sequence) -> bool:
        """Whether it names some of `columns`, and nothing that is none of them and was a column before."""
        if not self.columns_used(columns):
            return False
        try:
            taken = self.names_taken(columns)
        except FormulaError:
            return False
        return not self._columns.intersection(taken)

    def unsaved(self) -> list[str]:
        """What it says that a saved model may not, or takes from the caller, beside columns."""
        use = unsaved_use(self._factor.code)
        patsy = patsy_module()
        known = {name: getattr(patsy.builtins, name) for name in patsy.builtins.__all__}
        known.update(SAVED_NAMES)
        found = self._state["eval_env"].namespace
        names = [name for name in sorted(set(patsy.eval.ast_names(self._factor.code)))
                 if name in found and name not in self._columns and found[name] is not known.get(name)]
        return names or ([] if use is None else [use])

    @property
    def is_stateful(self) -> bool:
        """Whether it remembers something of the data it was learned from, as `center` does."""
        return self._passes > 0

    @property
    def code(self) -> str:
        """The expression as patsy evaluates it."""
        return self._factor.code

    def transforms(self) -> list[Any]:
        """Patsy's objects for its stateful functions."""
        return list(self._state["transforms"].values())

    def state(self) -> dict:
        """What its stateful functions remember, for JSON."""
        return _states.described(self._state["transforms"])

    def take_state(self, state: dict) -> None:
        """Remembers what `state` describes."""
        _states.take(self._state["transforms"], state)

    def memorize(self, tables: Tables) -> None:
        """Shows the data to stateful functions."""
        for number in range(self._passes):
            names, n_tables, n_rows = [], 0, 0
            for table in tables:
                names, n_tables, n_rows = table.names, n_tables + 1, n_rows + self._n_rows(table)
                with _sentences(self._factor, names):
                    self._factor.memorize_chunk(self._state, number, table)
            refuse_nothing(n_tables, n_rows)
            with _sentences(self._factor, names):
                self._factor.memorize_finish(self._state, number)

    def _n_rows(self, table: Table) -> int:
        return max((len(table[name]) for name in self.columns_used(table.names)), default=table.n_rows)

    def values(self, table: Table) -> Any:
        """What the expression is for the rows of `table`; what C() adds stays about it."""
        self._columns.update(table.names)
        with _sentences(self._factor, table.names):
            values = self._factor.eval(self._state, table)
            if not _are_rows(values):
                kind = type(values.data if hasattr(values, "contrast") else values).__name__
                raise FormulaError(f"The term {self.name!r} is one {kind}, not a value per row."
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


def _called(node: ast.AST) -> str | None:
    """The name of the function that `node` calls; None for anything else."""
    is_call = isinstance(node, ast.Call) and isinstance(node.func, ast.Name)
    return node.func.id if is_call else None


def _column(node: ast.AST) -> str | None:
    """The name that `node` is, bare or in ``Q()``; None for anything else."""
    if isinstance(node, ast.Name):
        return node.id
    is_quoted = _called(node) == "Q" and len(node.args) == 1 and isinstance(node.args[0], ast.Constant)
    return str(node.args[0].value) if is_quoted else None


class _sentences:
    """Turns what patsy raises about an expression into a sentence of ours."""

    def __init__(self, factor: Any, names: Sequence) -> None:
        self._factor, self._names = factor, names

    def __enter__(self) -> None:
        return None

    def __exit__(self, kind: Any, raised: Any, _trace: Any) -> None:
        if raised is None or not isinstance(raised, Exception):
            return
        cause = raised.__cause__ or raised
        if isinstance(cause, (DataError, FormulaError)):
            raise cause
        if isinstance(cause, NameError):
            missing = str(cause).split("'")[1] if "'" in str(cause) else str(cause)
            raise FormulaError(unknown(self._factor, missing, self._names)) from cause
        if isinstance(cause, NotImplementedError) and "outermost knots" in str(cause):
            raise DataError(f"The term {self._factor.name()!r} has values beyond its outermost knots, where bs() is "
                            "not defined. These are the limits of the data of the fit; lower_bound= and upper_bound= "
                            "in bs() set others.") from cause
        reason = (str(raised).splitlines() or [type(raised).__name__])[0].rstrip(".")
        raise FormulaError(f"The term {self._factor.name()!r} cannot be evaluated: {reason}."
                           f"{quoting(self._factor, self._names)}") from cause


def refuse_nothing(n_tables: int, n_rows: int) -> None:
    """An exception for data of no table, or of no row."""
    if n_tables == 0:
        raise DataError("There are no chunks, and so no rows.")
    if n_rows == 0:
        raise DataError("The data have no rows.")


class Learning:
    """What the tables say of an expression: whether it is a number or a factor, and of which levels."""

    def __init__(self, name: str) -> None:
        self._name = name
        self._is_factor: bool | None = None
        self._columns: list[str] = []
        self._levels = Levels(f"The term {name!r}")
        self._reference: Any = None
        self._is_said = False
        self._n_rows = 0

    def see(self, values: Any) -> None:
        """Takes the values of a table."""
        if _is_nothing(values):
            self._columns = self._columns or _column_names(self._name, values)
            return
        is_factor = is_categorical(values)
        if self._is_factor not in (None, is_factor):
            raise _changes(self._name, "chunks")
        self._is_factor = is_factor
        if is_factor:
            self._is_said = self._is_said or hasattr(values, "contrast")
            self._reference = _reference_level(self._name, getattr(values, "contrast", None))
            self._levels.see(unboxed(values), getattr(values, "levels", None))
            self._n_rows += len(unboxed(values))
        else:
            self._columns = _column_names(self._name, values)

    def join(self, other: Learning, rows: str) -> None:
        """Takes what `other` has learned of further tables; `rows` is what messages call them."""
        if other._is_factor is None:
            self._columns = self._columns or other._columns
            return
        if self._is_factor not in (None, other._is_factor):
            raise _changes(self._name, rows)
        self._is_factor, self._reference = other._is_factor, other._reference
        self._columns = other._columns or self._columns
        self._is_said = self._is_said or other._is_said
        self._levels.join(other._levels)
        self._n_rows += other._n_rows

    def variables(self, base: Any = None) -> list[Variable]:
        """What was learned; `base` is the base level of a factor, if that is chosen."""
        if not self._is_factor:
            return [Variable(name, column=column) for column, name in enumerate(self._columns)]
        levels = self._levels.all()
        if not levels:
            raise DataError(f"The term {self._name!r} has no value that is not missing.")
        base = self._reference if base is None else base
        position = 0 if base is None else _level(self._name, base, levels)
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
        self._declared: tuple | None = None
        self.are_declared = True
        """Whether their types declare the levels of all tables."""
        self._have_order = True

    def see(self, values: Any, declared: Sequence | None = None) -> None:
        """Takes the values of a table, and the levels that are `declared` for them, if any."""
        declared = declared if declared is not None else declared_levels(values)
        self._order(None if declared is None else tuple(declared))
        try:
            distinct = distinct_values(values) if declared is None or self._must_occur else []
        except TypeError as error:
            raise DataError(f"{self._name} has values that can be no levels: {error}. Convert them, as to "
                            "text.") from error
        self._levels.update(dict.fromkeys(distinct if declared is None else declared))
        self._occurring.update(distinct)

    def _order(self, declared: tuple | None) -> None:
        """Notes whether all tables declare the same; one that declares no level says nothing."""
        self.are_declared = self.are_declared and declared is not None
        self._declared = self._declared or declared
        self._have_order = self._have_order and self.are_declared and (not declared or declared == self._declared)

    def join(self, other: Levels) -> None:
        """Takes the levels of further tables."""
        self.are_declared = self.are_declared and other.are_declared
        self._have_order = (self._have_order and other._have_order
                            and (not self._declared or not other._declared or self._declared == other._declared))
        self._declared = self._declared or other._declared
        self._levels.update(other._levels)
        self._occurring.update(other._occurring)

    def all(self) -> tuple:
        """The levels: in the order that all tables declare, or sorted."""
        levels = tuple(self._levels) if self._have_order else sorted_levels(list(self._levels))
        levels = tuple(level for level in levels if level in self._occurring) if self._must_occur else levels
        self._refuse_equal_names(levels)
        return levels

    def _refuse_equal_names(self, levels: tuple) -> None:
        """An exception for levels of two types that have one name, as 3 and "3"."""
        named: dict[str, Any] = {}
        for level in levels:
            other = named.setdefault(str(level), level)
            if type(other) is not type(level):
                raise DataError(f"{self._name} has the level {other!r} as {type(other).__name__} and {level!r} as "
                                f"{type(level).__name__}, which have one name. Give all values one type.")


def unboxed(values: Any) -> Any:
    """The values without what C() adds."""
    inner = values.data if hasattr(values, "contrast") else values
    return inner if hasattr(inner, "dtype") else np.asarray(inner)


def _are_rows(values: Any) -> bool:
    """Whether there is a value for each row: not in a single one, nor in what has names like an array's, as numpy."""
    inner = unboxed(values)
    return not isinstance(inner, (type, ModuleType)) and hasattr(inner, "__len__") and np.ndim(inner) > 0


def is_categorical(values: Any) -> bool:
    """Whether patsy takes `values` for a factor; pandas' nullable numbers are numbers here."""
    return not is_nullable_number(values) and patsy_module().categorical.guess_categorical(values)


def _is_nothing(values: Any) -> bool:
    """Whether `values` are all NaN, as what is read of empty cells is, of text, too."""
    array = np.asarray(unboxed(values))
    return array.ndim == 1 and array.dtype.kind == "f" and bool(np.isnan(array).all())


def _changes(name: str, rows: str) -> DataError:
    return DataError(f"The term {name!r} is a number in some {rows} and a category in others. Read its column with "
                     "one type.")


def _reference_level(name: str, contrast: Any) -> Any:
    """The base level that `contrast` names; None without one."""
    treatment = patsy_module().Treatment
    if contrast is None or contrast is treatment:
        return None
    if not isinstance(contrast, treatment):
        kind = getattr(contrast, "__name__", type(contrast).__name__)
        raise FormulaError(f"{name} asks for {kind} contrasts: only treatment coding is offered. Write "
                           "C(…) or C(…, Treatment(\"level\")).")
    return contrast.reference


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
