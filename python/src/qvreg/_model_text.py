"""A model of the library as a tree of named texts, made of its lines and of elements of PMML."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass, field

from . import _library as lib
from ._number_text import read_wholes, wholes_text
from ._xml import Element

_FIRST_LINE = "qvreg-model 1"
# The settings that name variables.
_VARIABLES = ("dependent", "factors", "covariates", "frequencyWeight", "regressionWeight")


@dataclass
class Node:
    """A name with a text of numbers, or with further nodes."""

    name: str
    text: str = ""
    parts: list[Node] | None = None

    def __getitem__(self, name: str) -> Node:
        """The first part of this name."""
        return next(part for part in self.parts or () if part.name == name)

    def find(self, name: str) -> Node | None:
        """The first part of this name, if there is one."""
        return next((part for part in self.parts or () if part.name == name), None)


@dataclass
class Tree(Node):
    """All of a model: settings, what the passes learned, and last its `numbers`."""

    name: str = ""
    parts: list[Node] = field(default_factory=list)

    @property
    def is_linear(self) -> bool:
        return self["settings"].find("logistic") is None

    def move(self, place: Callable[[int], int]) -> None:
        """Gives every variable another position in the records."""
        settings = self["settings"]
        roles = dict(enumerate(read_wholes(settings["roles"].text)))
        moved = {place(position): role for position, role in roles.items()}
        settings["roles"].text = wholes_text(moved[position] for position in range(len(moved)))
        lists = [settings[name] for name in _VARIABLES]
        for effect in settings.parts or ():
            if effect.name == "effect":
                lists += [effect["factors"], effect["covariates"]]
        for node in lists:
            node.text = wholes_text(place(position) if position >= 0 else position
                                    for position in read_wholes(node.text))


def tree_of(component: lib.Handle) -> Tree:
    """That of a component."""
    lines = lib.get_bytes("component_write_text", component).decode().splitlines()
    if lines[0] != _FIRST_LINE:
        raise lib.LibraryError(f"The library writes models as {lines[0]!r}, and this package knows {_FIRST_LINE!r}. "
                               "Install the package again.")
    tree = Tree()
    above: list[Node] = [tree]
    for line in lines[1:]:
        if line == "}":
            above.pop()
            continue
        name, _, text = line.partition(" ")
        node = Node(name, *(("", []) if text == "{" else (text,)))
        above[-1].parts.append(node)
        if node.parts is not None:
            above.append(node)
    return tree


def component_of(tree: Tree) -> lib.Handle:
    """The component that a tree is that of; an exception for a tree of none."""
    lines = [_FIRST_LINE]
    for part in tree.parts:
        _add_lines(part, lines)
    return lib.restore(("\n".join(lines) + "\n").encode(), "component_restore_text")


def _add_lines(node: Node, lines: list[str]) -> None:
    if node.parts is None:
        lines.append(f"{node.name} {node.text}" if node.text else node.name)
        return
    lines.append(node.name + " {")
    for part in node.parts:
        _add_lines(part, lines)
    lines.append("}")


def add_extension(parent: Element, node: Node) -> None:
    """Appends a node as an element, with all in it."""
    if node.parts is None:
        parent.add("Extension", extender="qvreg", name=node.name, value=node.text)
        return
    added = parent.add("Extension", extender="qvreg", name=node.name)
    for part in node.parts:
        add_extension(added, part)


def node_of(element: Element) -> Node:
    """The node that an element was made of; a ValueError for any other."""
    if element.name != "Extension" or element.text:
        raise ValueError(f"the element {element.name}")
    name, value = element.get("name"), element.attributes.get("value")
    is_plain = name.isalnum() and (value is None or (value.isprintable() and not element.children))
    if not is_plain:
        raise ValueError(f"Extension '{name}'")
    if value is not None:
        return Node(name, value)
    return Node(name, "", [node_of(child) for child in element.children])
