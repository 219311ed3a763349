"""The design of a model: variables, terms, and what the parameters of a fit stand for.

Every term of a formula with factors becomes an effect of the library with a parameter for each
combination of levels that occurs. A column that depends on those before it is dropped by the library,
so that a factor whose base level has the last code is left with the columns of treatment coding.
"""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass
from itertools import product

import numpy as np

from . import _library as lib

INTERCEPT = "Intercept"


@dataclass(frozen=True)
class Variable:
    """A predictor: a number, or a factor with its levels and the base level of treatment coding."""

    name: str
    levels: tuple | None = None
    base: int = 0
    column: int = 0
    """Of a predictor with several columns, which one this is."""

    @property
    def is_factor(self) -> bool:
        return self.levels is not None

    @property
    def level_order(self) -> list[int]:
        """The levels in the order of their codes: the base level last."""
        others = [level for level in range(len(self.levels)) if level != self.base]
        return others + [self.base]

    @property
    def code_of_level(self) -> np.ndarray:
        """The code of each level."""
        code_of = np.empty(len(self.levels))
        code_of[self.level_order] = np.arange(len(self.levels))
        return code_of


@dataclass(frozen=True)
class Part:
    """A variable in a term; of a factor, whether its base level has columns of its own."""

    variable: int
    is_full: bool = True


@dataclass(frozen=True)
class Term:
    """A product of variables. `group` orders the columns of terms that a formula writes as one."""

    parts: tuple[Part, ...]
    group: int = 0


@dataclass
class Design:
    """Variables, terms, and whether there is an intercept.

    `spans_constant` says whether the columns sum to a constant, as they do with an intercept and with
    all levels of a factor.
    """

    variables: list[Variable]
    terms: list[Term]
    has_intercept: bool = True
    spans_constant: bool = True

    def parameters(self, results: lib.Handle, kept: np.ndarray) -> ParameterTable:
        """The parameters of one equation of `results`."""
        return ParameterTable(self, results, kept)

    def factors_of(self, term: Term) -> list[Part]:
        return [part for part in term.parts if self.variables[part.variable].is_factor]

    def column_name(self, term: Term, levels: dict[int, int]) -> str:
        """The name of the column of `term` with these `levels` by variable."""
        pieces = []
        for part in term.parts:
            variable = self.variables[part.variable]
            if not variable.is_factor:
                pieces.append(variable.name)
                continue
            prefix = "" if part.is_full else "T."
            pieces.append(f"{variable.name}[{prefix}{variable.levels[levels[part.variable]]}]")
        return ":".join(pieces)

    def column_key(self, index: int, levels: dict[int, int]) -> tuple:
        """Sorts the columns of all terms: within one the first variable changes fastest."""
        term = self.terms[index]
        places = [levels.get(part.variable, self.variables[part.variable].column)
                  for part in reversed(term.parts)]
        return term.group, places, index

    def is_base(self, term: Term, levels: dict[int, int]) -> bool:
        """Whether treatment coding has no column for these `levels`."""
        return any(not part.is_full and levels[part.variable] == self.variables[part.variable].base
                   for part in self.factors_of(term))

    def all_columns(self, term: Term) -> Iterator[dict[int, int]]:
        """The levels of every column that treatment coding has, whether or not they occur."""
        factors = self.factors_of(term)
        choices = [[level for level in range(len(self.variables[part.variable].levels))
                    if part.is_full or level != self.variables[part.variable].base]
                   for part in factors]
        for levels in product(*choices):
            yield {part.variable: level for part, level in zip(factors, levels)}


@dataclass
class Parameter:
    """A parameter of the library: its name, the index of its term (-1: the intercept) and levels."""

    name: str
    term: int
    levels: dict[int, int]
    key: tuple
    is_base: bool


class ParameterTable:
    """The parameters of one equation, as the library has them and as users see them.

    Attributes
    ----------
    design : Design
        What they are parameters of.
    parameters : list of Parameter
        Those of the library, in its order.
    shown : numpy.ndarray
        Positions of the parameters that were kept, in the order of a formula's columns.
    names : list of str
        Their names.
    """

    def __init__(self, design: Design, results: lib.Handle, kept: np.ndarray) -> None:
        self.design = design
        self._kept = kept
        described = lib.make("parameters", "results_get_parameters", results)
        self.parameters = [self._parameter(described, index) for index in range(len(kept))]
        order = sorted(range(len(kept)), key=lambda index: self.parameters[index].key)
        self.shown = np.array([index for index in order if kept[index]], dtype=np.intp)
        self.names = [self.parameters[index].name for index in self.shown]

    def _parameter(self, described: lib.Handle, index: int) -> Parameter:
        design = self.design
        info = lib.get(lib.ParameterInfo, "parameters_get_info", described, lib.c_size_t(index))
        if info.is_intercept:
            return Parameter(INTERCEPT, -1, {}, (-1,), False)
        number = info.effect_index - int(design.has_intercept)
        levels: dict[int, int] = {}
        if info.n_factors:
            variables, codes, _ = lib.get_arrays((np.int32,) * 3, "parameters_get_factors", described,
                                                 lib.c_size_t(index))
            levels = {int(variable): design.variables[variable].level_order[code]
                      for variable, code in zip(variables, codes)}
        term = design.terms[number]
        return Parameter(design.column_name(term, levels), number, levels,
                         design.column_key(number, levels), design.is_base(term, levels))

    def redundant(self) -> list[str]:
        """Names of columns that the data do not determine: they depend on others or do not occur."""
        design = self.design
        found = {(parameter.term, tuple(parameter.levels.values()))
                 for parameter, kept in zip(self.parameters, self._kept) if kept}
        names = []
        for number, term in enumerate(design.terms):
            order = [parameter for parameter in self.parameters if parameter.term == number]
            variables = list(order[0].levels) if order else [
                part.variable for part in design.factors_of(term)]
            for levels in design.all_columns(term):
                if (number, tuple(levels[variable] for variable in variables)) not in found:
                    names.append((design.column_key(number, levels), design.column_name(term, levels)))
        if design.has_intercept and not any(p.term < 0 and kept for p, kept in
                                            zip(self.parameters, self._kept)):
            names.append(((-1,), INTERCEPT))
        return [name for _, name in sorted(names)]
