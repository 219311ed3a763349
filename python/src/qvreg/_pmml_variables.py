"""The variables of a model as PMML has them: columns of a table, their levels and scales."""

from __future__ import annotations

from dataclasses import dataclass, field

from ._number_text import number_text, read_number, read_whole
from ._xml import Element

# No power of two that takes a double to a double is beyond this.
FARTHEST_POWER = 1 << 28
KINDS = ("number", "text", "boolean", "enumeration", "datetime", "other")


@dataclass
class SavedScale:
    """(value / 2^exponent - mean) / deviation, or without a deviation the difference times 2^exponent."""

    mean: float
    deviation: float | None = None
    exponent: int = 0


@dataclass
class SavedColumn:
    """A column of the data: its name, what its values are, and their type in a table."""

    name: str
    kind: str
    type: str


@dataclass
class SavedVariable:
    """The dependent, a predictor or a weight.

    Attributes
    ----------
    label : str
        What reports call it.
    field : str
        What PMML calls it, where no two have one name.
    expression : str
        Its values by the columns, before levels and scale.
    columns : list of str
        The columns that it reads.
    is_column : bool
        Whether its values are a column's.
    levels : list of str, optional
        Of a factor, by code.
    kind : str
        What its values are.
    position : int
        In the records of the component.
    """

    label: str
    expression: str
    columns: list[str]
    is_column: bool
    levels: list[str] | None
    kind: str
    position: int
    scale: SavedScale | None = None
    is_weight: bool = False
    field: str = ""

    @property
    def is_factor(self) -> bool:
        return self.levels is not None

    @property
    def takes_column(self) -> bool:
        """Whether its field is that of a column."""
        return self.is_column and self.field == self.columns[0]


@dataclass
class SavedTable:
    """The columns and variables of a model, the dependent first, and how other data are read."""

    columns: list[SavedColumn]
    variables: list[SavedVariable]
    missing: list[str] = field(default_factory=list)
    decimal: int = 0
    thousands: str = ""

    def column(self, name: str) -> SavedColumn:
        return next(column for column in self.columns if column.name == name)

    def at(self, position: int) -> SavedVariable | None:
        """The variable at a position of the records, if there is one."""
        return next((variable for variable in self.variables if variable.position == position), None)

    def plain_name(self, factor: SavedVariable) -> str:
        """What people call a factor: by its column, where it is the only one of it."""
        others = [variable for variable in self.predictors if variable.is_factor and variable.columns == factor.columns]
        return factor.columns[0] if factor.is_column and len(others) == 1 else factor.label

    @property
    def predictors(self) -> list[SavedVariable]:
        return [variable for variable in self.variables[1:] if not variable.is_weight]

    def name_fields(self) -> None:
        """Sees that no two fields have one name, nor one that of another's column."""
        taken, own = {column.name for column in self.columns}, set()
        for variable in self.variables:
            variable.field = variable.columns[0] if variable.is_column else variable.label
            if variable.is_column and variable.field not in own:
                own.add(variable.field)
                continue
            variable.field = variable.label
            while variable.field in taken:
                variable.field += "_"
            taken.add(variable.field)


def written_name(column: str) -> str:
    """A column's name in an expression."""
    return "`" + column.replace("`", "``") + "`"


def column_of(expression: str) -> str | None:
    """The column that an expression is the name of; None for other expressions."""
    if expression.startswith("`") and expression.endswith("`") and len(expression) > 2:
        inside = expression[1:-1].replace("``", "\0")
        return None if "`" in inside else inside.replace("\0", "`")
    return expression if expression.replace(".", "_").isidentifier() else None


# ---- As elements of their own -------------------------------------------------


def _add(parent: Element, name: str, value: str) -> None:
    parent.add("Extension", extender="qvreg", name=name, value=value)


def _add_part(parent: Element, name: str) -> Element:
    return parent.add("Extension", extender="qvreg", name=name)


def _add_texts(parent: Element, name: str, texts: list[str]) -> None:
    for text in texts:
        _add(_add_part(parent, name), "text", text)


def add_table(parent: Element, table: SavedTable) -> None:
    """Appends columns, variables and how data are read."""
    for column in table.columns:
        part = _add_part(parent, "dataColumn")
        for name in ("name", "kind", "type"):
            _add(part, name, getattr(column, name))
    for variable in table.variables:
        _add_variable(_add_part(parent, "variable"), variable)
    reading = _add_part(parent, "reading")
    _add_texts(reading, "na", table.missing)
    _add(reading, "decimal", str(table.decimal))
    _add(reading, "thousands", table.thousands)


def _add_variable(part: Element, variable: SavedVariable) -> None:
    _add(part, "label", variable.label)
    _add(part, "field", variable.field)
    _add(part, "expression", variable.expression)
    _add_texts(part, "column", variable.columns)
    _add(part, "isColumn", str(int(variable.is_column)))
    _add(part, "isFactor", str(int(variable.is_factor)))
    _add_texts(part, "level", variable.levels or [])
    _add(part, "kind", variable.kind)
    _add(part, "position", str(variable.position))
    if variable.scale is not None:
        scale = _add_part(part, "scale")
        _add(scale, "mean", number_text(variable.scale.mean))
        if variable.scale.deviation is not None:
            _add(_add_part(scale, "deviation"), "number", number_text(variable.scale.deviation))
        _add(scale, "exponent", str(variable.scale.exponent))
    _add(part, "isWeight", str(int(variable.is_weight)))


class Reader:
    """Takes elements in the order in which they were written; a ValueError for any other."""

    def __init__(self, elements: list[Element]) -> None:
        self._elements = elements
        self._next = 0

    def is_next(self, name: str) -> bool:
        """Whether the next element has the name."""
        return (self._next < len(self._elements) and self._elements[self._next].name == "Extension"
                and self._elements[self._next].get("name") == name)

    def element(self, name: str) -> Element:
        """The next element, which must have the name."""
        if not self.is_next(name):
            raise ValueError(f"Extension '{name}'")
        self._next += 1
        return self._elements[self._next - 1]

    def text(self, name: str) -> str:
        """The value of the next element."""
        element = self.element(name)
        if "value" not in element.attributes or element.children:
            raise ValueError(f"Extension '{name}'")
        return element.get("value")

    def flag(self, name: str) -> bool:
        """A truth value."""
        text = self.text(name)
        if text not in ("0", "1"):
            raise ValueError(f"Extension '{name}'")
        return text == "1"

    def part(self, name: str) -> Reader:
        """What is in the next element."""
        return Reader(self.element(name).children)

    def texts(self, name: str) -> list[str]:
        """The texts of the elements of this name that follow."""
        found = []
        while self.is_next(name):
            inner = self.part(name)
            found.append(inner.text("text"))
            inner.end(name)
        return found

    def end(self, name: str) -> None:
        """There is nothing more."""
        if self._next < len(self._elements):
            raise ValueError(f"Extension '{name}'")


def read_table(reader: Reader) -> SavedTable:
    """What `add_table` has appended; a ValueError for anything else."""
    table = SavedTable([], [])
    while reader.is_next("dataColumn"):
        inner = reader.part("dataColumn")
        table.columns.append(SavedColumn(inner.text("name"), _kind(inner), inner.text("type")))
        inner.end("dataColumn")
    while reader.is_next("variable"):
        table.variables.append(_read_variable(reader.part("variable")))
    inner = reader.part("reading")
    table.missing = inner.texts("na")
    table.decimal = read_whole(inner.text("decimal"))
    table.thousands = inner.text("thousands")
    inner.end("reading")
    known = {column.name for column in table.columns}
    for variable in table.variables:
        if variable.position < 0 or not variable.columns or not known.issuperset(variable.columns):
            raise ValueError("Extension 'variable'")
    if not table.variables:
        raise ValueError("Extension 'variable'")
    return table


def _kind(reader: Reader) -> str:
    kind = reader.text("kind")
    if kind not in KINDS:
        raise ValueError("Extension 'kind'")
    return kind


def _read_variable(reader: Reader) -> SavedVariable:
    label, named, expression = reader.text("label"), reader.text("field"), reader.text("expression")
    columns, is_column, is_factor = reader.texts("column"), reader.flag("isColumn"), reader.flag("isFactor")
    levels = reader.texts("level")
    kind, position = _kind(reader), read_whole(reader.text("position"))
    scale = None
    if reader.is_next("scale"):
        inner = reader.part("scale")
        mean, deviation = read_number(inner.text("mean")), None
        if inner.is_next("deviation"):
            deviation = read_number(inner.part("deviation").text("number"))
        scale = SavedScale(mean, deviation, read_whole(inner.text("exponent")))
        inner.end("scale")
        if abs(scale.exponent) > FARTHEST_POWER:
            raise ValueError("Extension 'exponent'")
    is_weight = reader.flag("isWeight")
    reader.end("variable")
    return SavedVariable(label, expression, columns, is_column, levels if is_factor else None, kind, position, scale,
                         is_weight, named)
