"""XML of saved models: written as it stands, and read without document types, entities and great depth."""

from __future__ import annotations

import hashlib
import re
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import Any
from xml.parsers import expat

from .errors import DataError

MOST_BYTES = 1 << 30
MOST_LEVELS = 64
_WAY_OUT = "name what save() of a path that ends in .pmml, or 'qvreg fit --save', wrote."
_NO_TEXT = re.compile("[\x00-\x08\x0b\x0c\x0e-\x1f\ud800-\udfff\ufffe\uffff]")
_TEXT_ESCAPES = {"&": "&amp;", "<": "&lt;", ">": "&gt;", "\r": "&#13;"}
_ATTRIBUTE_ESCAPES = {**_TEXT_ESCAPES, '"': "&quot;", "\t": "&#9;", "\n": "&#10;"}


@dataclass
class Element:
    """An element: its name, attributes in their order, and text or the elements in it."""

    name: str
    attributes: dict[str, str] = field(default_factory=dict)
    children: list[Element] = field(default_factory=list)
    text: str = ""

    def add(self, element: str, /, **attributes: str) -> Element:
        """Appends an element and returns it."""
        added = Element(element, attributes)
        self.children.append(added)
        return added

    def get(self, attribute: str) -> str:
        """An attribute; empty for none."""
        return self.attributes.get(attribute, "")

    def child(self, name: str) -> Element | None:
        """The first element of this name in it."""
        return next((child for child in self.children if child.name == name), None)


def _escaped(text: str, escapes: dict[str, str]) -> str:
    for character, escape in escapes.items():
        if character in text:
            text = text.replace(character, escape)
    return text


def written(root: Element) -> bytes:
    """The document of an element."""
    lines = ['<?xml version="1.0" encoding="UTF-8"?>']
    lines += _lines(root, "")
    return ("\n".join(lines) + "\n").encode()


def _lines(element: Element, indent: str) -> Iterator[str]:
    attributes = "".join(f' {name}="{_escaped(value, _ATTRIBUTE_ESCAPES)}"'
                         for name, value in element.attributes.items())
    start = f"{indent}<{element.name}{attributes}"
    if element.children:
        yield start + ">"
        for child in element.children:
            yield from _lines(child, indent + " ")
        yield f"{indent}</{element.name}>"
    elif element.text:
        yield f"{start}>{_escaped(element.text, _TEXT_ESCAPES)}</{element.name}>"
    else:
        yield start + " />"


def digest(root: Element) -> str:
    """The SHA-256 of the elements, attributes and texts in their order, wherever line ends are."""
    pieces: list[str] = []
    _add(root, pieces)
    return hashlib.sha256("".join(pieces).encode()).hexdigest()


def _add(element: Element, pieces: list[str]) -> None:
    pieces.append(_sized("<", element.name))
    for name, value in element.attributes.items():
        pieces += (_sized("@", name), _sized("=", value))
    if element.text:
        pieces.append(_sized('"', element.text))
    for child in element.children:
        _add(child, pieces)
    pieces.append(">")


def _sized(kind: str, text: str) -> str:
    """A text so that no other pieces give the same: with the number of its bytes."""
    return f"{kind}{len(text) if text.isascii() else len(text.encode())}:{text}"


def is_text(text: str) -> bool:
    """Whether XML can hold a text: it has no control characters but blanks, and no half of a pair."""
    return _NO_TEXT.search(text) is None


def read(data: bytes, name: str) -> Element:
    """The root of a document. `name` is what messages call it."""
    _refuse_other(data, name)
    builder = _Builder(name)
    try:
        builder.parser.Parse(data, True)
    except expat.ExpatError as error:
        if error.code == expat.errors.codes[expat.errors.XML_ERROR_JUNK_AFTER_DOC_ELEMENT]:
            raise DataError(f"{name} holds more than one document; {_WAY_OUT}") from None
        raise DataError(f"{name} is cut off or damaged at byte {builder.parser.ErrorByteIndex + 1} "
                        f"({expat.errors.messages[error.code]}); {_WAY_OUT}") from None
    return builder.root


def _refuse_other(data: bytes, name: str) -> None:
    start = data.removeprefix(b"\xef\xbb\xbf").lstrip()[:1]
    if not start:
        raise DataError(f"{name} is empty; {_WAY_OUT}")
    if start in b"{[":
        raise DataError(f"{name} is JSON and no model; save() writes a model that outlives its fit.")
    if start != b"<":
        raise DataError(f"{name} is no XML; {_WAY_OUT}")
    try:
        text = data.decode()
    except UnicodeDecodeError as error:
        raise DataError(f"{name} holds no text in UTF-8 at byte {error.start + 1}; {_WAY_OUT}") from None
    if not is_text(text):
        raise DataError(f"{name} holds a character that XML has not; {_WAY_OUT}")


class _Builder:
    """Makes elements of what the parser meets."""

    def __init__(self, name: str) -> None:
        self._name = name
        self._open: list[Element] = []
        self.root = Element("")
        # What a declaration says of the encoding does not count.
        self.parser = expat.ParserCreate("utf-8")
        self.parser.buffer_text = True
        self.parser.ordered_attributes = True
        self.parser.StartDoctypeDeclHandler = self._refuse_doctype
        self.parser.StartElementHandler = self._start
        self.parser.EndElementHandler = self._end
        self.parser.CharacterDataHandler = self._take

    def _refuse_doctype(self, *_: Any) -> None:
        raise DataError(f"{self._name} has a document type, which a saved model has not; {_WAY_OUT}")

    def _start(self, name: str, attributes: list[str]) -> None:
        if len(self._open) == MOST_LEVELS:
            raise DataError(f"{self._name} has more than {MOST_LEVELS} elements inside each other; {_WAY_OUT}")
        element = Element(name, dict(zip(attributes[::2], attributes[1::2])))
        if self._open:
            self._open[-1].children.append(element)
        else:
            self.root = element
        self._open.append(element)

    def _take(self, text: str) -> None:
        if self._open:
            self._open[-1].text += text

    def _end(self, _: str) -> None:
        element = self._open.pop()
        # Blanks between elements are none of theirs.
        if element.children and not element.text.strip(" \t\r\n"):
            element.text = ""
