"""Formulas: read by patsy, mapped to variables and terms; no design matrix is ever made."""

from __future__ import annotations

import difflib
from collections.abc import Iterator, Mapping, Sequence
from typing import Any

import numpy as np

from ._data import Column, codes, is_frame, is_nullable_number, levels_of, numbers
from ._design import Design, Part, Term, Variable
from .errors import DataError, FormulaError


def _patsy() -> Any:
    try:
        import patsy
    except ImportError as error:
        raise ImportError("Formulas need patsy: install it (pip install patsy), or use the estimators of "
                          "qvreg.sklearn, which take arrays.") from error
    return patsy


class Table(Mapping):
    """Data by the names of columns, for patsy: a DataFrame, a dict of arrays or a structured array."""

    def __init__(self, data: Any) -> None:
        self._data = data
        if isinstance(data, Mapping):
            self.names = list(data)
        elif is_frame(data):
            self.names = list(data.columns)
        elif getattr(getattr(data, "dtype", None), "names", None):
            self.names = list(data.dtype.names)
        else:
            raise DataError(f"A formula needs data with named columns, not {_kind(data)}: a DataFrame, a dict "
                            "of arrays or a structured array.")

    def __getitem__(self, name: str) -> Any:
        count = self.names.count(name)
        if count == 0:
            raise KeyError(name)
        if count > 1:
            raise DataError(f"The data have {count} columns named {name!r}. Rename all but one.")
        values = self._data[name]
        return values if hasattr(values, "dtype") else np.asarray(values)

    def __iter__(self) -> Iterator:
        return iter(self.names)

    def __len__(self) -> int:
        return len(self.names)


def _list(names: Sequence) -> str:
    return ", ".join(map(repr, names[:8])) + (", …" if len(names) > 8 else "")


def _kind(data: Any) -> str:
    shape = getattr(data, "shape", None)
    return f"{type(data).__name__} of shape {shape}" if shape is not None else type(data).__name__


class Expression:
    """One factor of a formula in patsy's sense: an expression that gives a column, or several."""

    def __init__(self, factor: Any, environment: Any, table: Table) -> None:
        self.name = factor.name()
        self._factor = factor
        self._state: dict = {}
        self._memorize(environment, table)

    def _memorize(self, environment: Any, table: Table) -> None:
        """Lets stateful functions, such as `center`, see the data they are to remember."""
        with _sentences(self.name, table):
            for number in range(self._factor.memorize_passes_needed(self._state, environment)):
                self._factor.memorize_chunk(self._state, number, table)
                self._factor.memorize_finish(self._state, number)

    def values(self, table: Table) -> Any:
        """What the expression is for the rows of `table`; what C() adds stays about it."""
        with _sentences(self.name, table):
            return self._factor.eval(self._state, table)


class _sentences:
    """Turns what patsy raises about an expression into a sentence of ours."""

    def __init__(self, name: str, table: Table) -> None:
        self._name, self._table = name, table

    def __enter__(self) -> None:
        return None

    def __exit__(self, kind: Any, raised: Any, _trace: Any) -> None:
        if raised is None or not isinstance(raised, Exception):
            return
        cause = raised.__cause__ or raised
        if isinstance(cause, DataError):
            raise cause
        if isinstance(cause, NameError):
            missing = str(cause).split("'")[1] if "'" in str(cause) else str(cause)
            raise FormulaError(f"There is no column {missing!r}{self._nearest(missing)}.") from cause
        reason = str(raised).splitlines()[0]
        raise FormulaError(f"The term {self._name!r} cannot be evaluated: {reason}") from cause

    def _nearest(self, missing: str) -> str:
        names = [name for name in self._table.names if isinstance(name, str)]
        near = difflib.get_close_matches(missing, names, n=1)
        if near:
            return f"; the nearest name is {near[0]!r}"
        others = [name for name in self._table.names if not isinstance(name, str)]
        rule = f". Names of columns are to be text: {others[0]!r} is not" if others else ""
        return f" among {_list(self._table.names)}{rule}"


class Categorical:
    """What C() says of a variable: its values, its levels and the base level of its contrast."""

    def __init__(self, name: str, values: Any, base: Any = None) -> None:
        boxed = hasattr(values, "contrast") and hasattr(values, "levels")
        self.values = values.data if boxed else values
        if not hasattr(self.values, "dtype"):
            self.values = np.asarray(self.values)
        levels = values.levels if boxed else None
        self.levels = tuple(levels) if levels is not None else levels_of(self.values)
        if not self.levels:
            raise DataError(f"The term {name!r} has no value that is not missing.")
        contrast = values.contrast if boxed else None
        self.base = _level(name, base, self.levels) if base is not None else _base_level(
            name, contrast, self.levels)


def is_categorical(values: Any) -> bool:
    """Whether patsy takes `values` for a factor; pandas' nullable numbers are numbers here."""
    return not is_nullable_number(values) and _patsy().categorical.guess_categorical(values)


def _base_level(name: str, contrast: Any, levels: tuple) -> int:
    if contrast is None:
        return 0
    treatment = _patsy().Treatment
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
                       f"{_list(levels)}.")


class Formula:
    """A formula on the columns of some data.

    Parameters
    ----------
    text : str
        The formula, as patsy reads it.
    data : DataFrame, dict of arrays or structured array
        What its levels and stateful functions are learned from.
    environment : patsy.EvalEnvironment
        Where names are looked up that are no columns.
    base : mapping, optional
        The base level by the name of a factor; the first level, or that of ``Treatment``, otherwise.

    Attributes
    ----------
    design : Design
        The variables and terms of the right side.
    response : str
        The left side.
    """

    def __init__(self, text: str, data: Any, environment: Any,
                 base: Mapping[str, Any] | None = None) -> None:
        patsy = _patsy()
        self.text = text
        self._base = dict(base or {})
        table = Table(data)
        try:
            described = patsy.ModelDesc.from_formula(text)
        except patsy.PatsyError as error:
            raise FormulaError(f"The formula cannot be read: {str(error).rstrip()}") from error
        self._response = self._left_side(described, environment, table)
        self.response = self._response.name
        self._expressions: list[Expression] = []
        self._by_factor: dict[Any, list[int]] = {}
        self.variables: list[Variable] = []
        self._origin: list[tuple[int, int]] = []
        for term in described.rhs_termlist:
            for factor in term.factors:
                if factor not in self._by_factor:
                    self._by_factor[factor] = self._add_variables(factor, environment, table)
        if not described.rhs_termlist:
            raise FormulaError("The formula has no term to the right of its '~', not even an intercept.")
        self._check_base()
        self.design = self._make_design(described.rhs_termlist)

    def _check_base(self) -> None:
        factors = [variable.name for variable in self.variables if variable.is_factor]
        for name in self._base:
            if name not in factors:
                raise FormulaError(f"base= names {name!r}, which is no factor of the formula. Its factors are: "
                                   f"{', '.join(factors) or 'none'}.")

    @staticmethod
    def _left_side(described: Any, environment: Any, table: Table) -> Expression:
        terms = described.lhs_termlist
        if len(terms) != 1 or len(terms[0].factors) != 1:
            raise FormulaError("A formula needs one response to the left of its '~', as in 'y ~ x'.")
        return Expression(terms[0].factors[0], environment, table)

    def _add_variables(self, factor: Any, environment: Any, table: Table) -> list[int]:
        expression = Expression(factor, environment, table)
        number = len(self._expressions)
        self._expressions.append(expression)
        values = expression.values(table)
        first = len(self.variables)
        if is_categorical(values):
            found = Categorical(expression.name, values, self._base.get(expression.name))
            self.variables.append(Variable(expression.name, found.levels, found.base))
            self._origin.append((number, -1))
        else:
            for column, name in enumerate(_column_names(expression.name, values)):
                self.variables.append(Variable(name, column=column))
                self._origin.append((number, column))
        return list(range(first, len(self.variables)))

    def _make_design(self, terms: Sequence[Any]) -> Design:
        made: list[Term] = []
        has_intercept, spans_constant = False, False
        for group, (term, coding) in enumerate(self._codings(terms)):
            if not term.factors:
                has_intercept = spans_constant = True
                continue
            parts = [self._parts(factor, coding) for factor in term.factors]
            parts = [choices for choices in parts if choices]
            made.extend(Term(chosen, group) for chosen in _combinations(parts))
            # The levels of the first factors without an intercept are all there.
            spans_constant = spans_constant or not any(map(self._is_number, term.factors))
        return Design(self.variables, made, has_intercept, spans_constant)

    def _is_number(self, factor: Any) -> bool:
        return not self.variables[self._by_factor[factor][0]].is_factor

    def _parts(self, factor: Any, coding: Mapping) -> list[Part]:
        positions = self._by_factor[factor]
        if self._is_number(factor):
            return [Part(position) for position in positions]
        return [Part(positions[0], coding[factor])] if factor in coding else []

    def _codings(self, terms: Sequence[Any]) -> Iterator[tuple[Any, Mapping]]:
        """Every term with the codings that treatment coding takes for its factors, in patsy's order.

        Terms with the same numeric variables stand together, those without any first, and among them
        lower interactions before higher ones.
        """
        from patsy.redundancy import pick_contrasts_for_term

        by_numbers: dict[frozenset, list] = {frozenset(): []}
        for term in terms:
            key = frozenset(factor for factor in term.factors if self._is_number(factor))
            by_numbers.setdefault(key, []).append(term)
        for numeric, group in by_numbers.items():
            used: set = set()
            for term in sorted(group, key=lambda term: len(term.factors)):
                for coding in pick_contrasts_for_term(term, numeric, used):
                    yield term, coding

    def columns(self, data: Any) -> list[Column]:
        """The variables of the right side for the rows of `data`."""
        table = Table(data)
        evaluated = [expression.values(table) for expression in self._expressions]
        made = []
        for variable, (number, column) in zip(self.variables, self._origin):
            name, values = f"the term {variable.name!r}", evaluated[number]
            if variable.is_factor:
                values = Categorical(variable.name, values).values
                made.append(codes(name, values, variable.levels, variable.code_of_level))
            else:
                made.append(numbers(name, _column(values, column)))
        return made

    def response_values(self, data: Any) -> Any:
        """The left side for the rows of `data`."""
        return self._response.values(Table(data))


def _column_names(name: str, values: Any) -> list[str]:
    shape = np.shape(values)
    if len(shape) == 2 and shape[1] > 1:
        return [f"{name}[{column}]" for column in range(shape[1])]
    if len(shape) > 2:
        raise FormulaError(f"The term {name!r} has {len(shape)} dimensions: one or two are possible.")
    return [name]


def _column(values: Any, column: int) -> Any:
    if np.ndim(values) < 2:
        return values
    return np.asarray(values)[:, column]


def _combinations(choices: list[list[Part]]) -> list[tuple[Part, ...]]:
    """One part of each, the first changing fastest."""
    combined: list[tuple[Part, ...]] = [()]
    for parts in choices:
        combined = [chosen + (part,) for part in parts for chosen in combined]
    return combined
