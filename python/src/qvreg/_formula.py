"""Formulas: read by patsy, mapped to variables and terms; no design matrix is ever made."""

from __future__ import annotations

from collections.abc import Iterator, Mapping, Sequence
from dataclasses import dataclass
from typing import Any

from ._checks import Response, refuse_other_indexes, refuse_other_rows
from ._columns import Column
from ._design import Design, Part, Term, Variable
from ._expressions import Expression, Learning, patsy_module, refuse_nothing, unboxed
from ._tables import Table, Tables
from .errors import FormulaError


@dataclass
class Lesson:
    """What tables have taught: of the response, and of every expression of the right side."""

    response: Response
    learnings: list[Learning]
    n_tables: int = 0
    n_rows: int = 0

    def join(self, other: Lesson) -> Lesson:
        """Takes what further tables, partitions of the same data, have taught; returns itself."""
        self.response.join(other.response)
        for learning, further in zip(self.learnings, other.learnings):
            learning.join(further, "partitions")
        self.n_tables += other.n_tables
        self.n_rows += other.n_rows
        return self


class Formula:
    """A formula, and what is learned of its variables.

    Parameters
    ----------
    text : str
        The formula, as patsy reads it.
    environment : patsy.EvalEnvironment
        Where names are looked up that are no columns.

    Attributes
    ----------
    design : Design
        The variables and terms of the right side, once they are learned.
    response : str
        The left side.
    doubts : list of str
        What is probably not meant, as sentences for warnings.
    """

    design: Design

    def __init__(self, text: str, environment: Any) -> None:
        patsy = patsy_module()
        if not isinstance(text, str):
            raise FormulaError(f"A formula is text, as 'y ~ x', not {type(text).__name__}.")
        try:
            described = patsy.ModelDesc.from_formula(text)
        except patsy.PatsyError as error:
            raise FormulaError(f"The formula cannot be read: {str(error).rstrip()}") from error
        if not described.rhs_termlist:
            raise FormulaError("The formula has no term to the right of its '~', not even an intercept.")
        left = described.lhs_termlist
        if len(left) != 1 or len(left[0].factors) != 1:
            raise FormulaError("A formula needs one response to the left of its '~', as in 'y ~ x'.")
        self.text = text
        self.doubts: list[str] = []
        self._terms = described.rhs_termlist
        self._response = Expression(left[0].factors[0], environment)
        self.response = self._response.name
        self._expressions: dict[Any, Expression] = {}
        for factor in (factor for term in self._terms for factor in term.factors):
            if factor not in self._expressions:
                self._expressions[factor] = Expression(factor, environment)

    @property
    def expressions(self) -> list[Expression]:
        """Those of the formula, its left side first."""
        return [self._response, *self._expressions.values()]

    def study(self, tables: Tables, response: Response) -> Lesson:
        """What `tables` teach of it.

        Parameters
        ----------
        tables : Tables
            The data; stateful functions remember something of them.
        response : Response
            Is shown the left side for every table.
        """
        expressions = list(self._expressions.values())
        for expression in self.expressions:
            expression.memorize(tables)
        lesson = Lesson(response, [Learning(expression.name) for expression in expressions])
        for table in tables:
            lesson.n_tables += 1
            seen, values = self._response.values(table), [expression.values(table) for expression in expressions]
            refuse_other_indexes(zip(self._said_names(), [seen, *values]))
            response.see(seen)
            lesson.n_rows += len(unboxed(seen))
            for learning, value in zip(lesson.learnings, values):
                learning.see(value)
            if not tables.is_whole:
                for expression in self.expressions:
                    refuse_other_rows(expression, table, tables.rows)
        return lesson

    def learn(self, lesson: Lesson, base: Mapping[str, Any]) -> None:
        """Takes the levels that a lesson has found.

        Parameters
        ----------
        lesson : Lesson
            What all tables taught.
        base : mapping
            The base level by the name of a factor; the first level, or that of ``Treatment``, otherwise.
        """
        refuse_nothing(lesson.n_tables, lesson.n_rows)
        for expression, learning in zip(self._expressions.values(), lesson.learnings):
            expression.variables = learning.variables(base.get(expression.name))
        self.doubts = [doubt for doubt in (learning.doubt() for learning in lesson.learnings) if doubt]
        self._check_base(base)
        self._make_design()

    def _check_base(self, base: Mapping[str, Any]) -> None:
        factors = [expression.name for expression in self._expressions.values()
                   if expression.variables[0].is_factor]
        for name in base:
            if name not in factors:
                raise FormulaError(f"base= names {name!r}, which is no factor of the formula. Its factors are: "
                                   f"{', '.join(factors) or 'none'}.")

    def refuse_state(self, why: str) -> None:
        """An exception for a function such as center(), which remembers something of the data; `why` it is none."""
        for expression in self.expressions:
            if expression.is_stateful:
                raise FormulaError(f"The term {expression.name!r} remembers something of the data, {why}. Make a "
                                   "column of it before the fit.")

    def columns_used(self, columns: Sequence) -> list:
        """Those of `columns` that the formula names."""
        used = {column for expression in self.expressions
                for column in expression.columns_used(columns)}
        return [column for column in columns if column in used]

    def names_taken(self, columns: Sequence) -> dict[str, Any]:
        """What the formula takes from the caller, by name, of data with these `columns`."""
        taken: dict[str, Any] = {}
        for expression in self.expressions:
            taken.update(expression.names_taken(columns))
        return taken

    def learned(self) -> list[list[Variable]]:
        """The variables by expression."""
        return [expression.variables for expression in self._expressions.values()]

    def variables(self) -> list[list[Variable]]:
        """What was learned, by expression; a model with a function of the caller's cannot be kept."""
        self.refuse_unsaved()
        return [expression.variables for expression in self._expressions.values()]

    def refuse_unsaved(self) -> None:
        """An exception for a formula that no saved model may have."""
        for expression in self.expressions:
            for name in expression.unsaved():
                raise FormulaError(f"The term {expression.name!r} uses {name!r}, which is not saved or pickled with "
                                   "the model: only columns, np and functions of patsy are known where it is read. "
                                   "Make a column of it before the fit.")

    def states(self) -> list[dict]:
        """What stateful functions remember, by expression, the response first."""
        return [expression.state() for expression in self.expressions]

    def take(self, variables: list[list[Variable]], states: list[dict]) -> None:
        """Takes what another formula of the same text has learned."""
        for expression, state in zip(self.expressions, states):
            expression.take_state(state)
        for expression, learned in zip(self._expressions.values(), variables):
            expression.variables = learned
        self._make_design()

    def columns(self, table: Table) -> list[Column]:
        """The variables of the right side for the rows of `table`."""
        expressions = list(self._expressions.values())
        values = [expression.values(table) for expression in expressions]
        refuse_other_indexes(zip(self._said_names()[1:], values))
        return [column for expression, seen in zip(expressions, values) for column in expression.columns(seen)]

    def _said_names(self) -> list[str]:
        """What messages call the response and the expressions."""
        return [f"the response {self.response!r}", *(f"the term {e.name!r}" for e in self._expressions.values())]

    def response_values(self, table: Table) -> Any:
        """The left side for the rows of `table`."""
        return self._response.values(table)

    def has_response(self, columns: Sequence) -> bool:
        """Whether data with these `columns` have what the left side is made of."""
        return self._response.is_of(columns)

    def _make_design(self) -> None:
        variables: list[Variable] = []
        positions: dict[Any, list[int]] = {}
        for factor, expression in self._expressions.items():
            positions[factor] = list(range(len(variables), len(variables) + len(expression.variables)))
            variables += expression.variables
        made: list[Term] = []
        has_intercept, spans_constant = False, False
        for group, (term, coding) in enumerate(self._codings()):
            if not term.factors:
                has_intercept = spans_constant = True
                continue
            parts = [self._parts(factor, positions[factor], coding) for factor in term.factors]
            made.extend(Term(chosen, group) for chosen in _combinations([part for part in parts if part]))
            # The levels of the first factors without an intercept are all there.
            spans_constant = spans_constant or not any(map(self._is_number, term.factors))
        self.design = Design(variables, made, has_intercept, spans_constant)

    def _is_number(self, factor: Any) -> bool:
        return not self._expressions[factor].variables[0].is_factor

    def _parts(self, factor: Any, positions: list[int], coding: Mapping) -> list[Part]:
        if self._is_number(factor):
            return [Part(position) for position in positions]
        return [Part(positions[0], coding[factor])] if factor in coding else []

    def _codings(self) -> Iterator[tuple[Any, Mapping]]:
        """Every term with the codings that treatment coding takes for its factors, in patsy's order.

        Terms with the same numeric variables stand together, those without any first, and among them
        lower interactions before higher ones.
        """
        from patsy.redundancy import pick_contrasts_for_term

        by_numbers: dict[frozenset, list] = {frozenset(): []}
        for term in self._terms:
            key = frozenset(factor for factor in term.factors if self._is_number(factor))
            by_numbers.setdefault(key, []).append(term)
        for numeric, group in by_numbers.items():
            used: set = set()
            for term in sorted(group, key=lambda term: len(term.factors)):
                for coding in pick_contrasts_for_term(term, numeric, used):
                    yield term, coding


def _combinations(choices: list[list[Part]]) -> list[tuple[Part, ...]]:
    """One part of each, the first changing fastest."""
    combined: list[tuple[Part, ...]] = [()]
    for parts in choices:
        combined = [chosen + (part,) for part in parts for chosen in combined]
    return combined
