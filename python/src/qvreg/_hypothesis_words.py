"""What a hypothesis that cannot be read has in the place of a parameter's name."""

from __future__ import annotations

import re
from collections.abc import Iterator, Mapping, Sequence
from typing import Any

_IN_PARENTHESES = r"\((?:[^()]|\([^()]*\))*\)"
_PIECE = rf"\w[\w.]*(?:\[[^\]]*\]|{_IN_PARENTHESES})*"
_NAME = re.compile(rf"{_PIECE}(?::{_PIECE})*")


def unknown_name(hypotheses: Any, error: Exception, names: Sequence[str], redundant: Sequence[str]) -> str | None:
    """A sentence on the name that made patsy raise `error`, which is none of `names`; None if it was no name."""
    word = _word(hypotheses, error, names, redundant)
    if word is None or word in names or _is_number(word):
        return None
    for name in redundant:
        if _without_blanks(name) == _without_blanks(word):
            return (f"The parameter {name!r} is redundant: it depends on others or has no observation, and so has no "
                    "estimate to test.")
    return f"There is no parameter {word!r}."


def _word(hypotheses: Any, error: Exception, names: Sequence[str], redundant: Sequence[str]) -> str | None:
    if isinstance(hypotheses, Mapping):
        return next((key for key in hypotheses if isinstance(key, str) and key not in names), None)
    origin = getattr(error, "origin", None)
    if origin is None:
        return None
    found = [word for begin, word in _words(origin.code, redundant) if begin <= origin.start < begin + len(word)]
    return max(found, key=len, default=None)


def _words(text: str, redundant: Sequence[str]) -> Iterator[tuple[int, str]]:
    """What may be names in `text`, and where they begin."""
    for pattern in (_NAME, *(re.compile(re.escape(name)) for name in redundant)):
        for match in pattern.finditer(text):
            yield match.start(), match.group()


def _without_blanks(name: str) -> str:
    return "".join(name.split())


def _is_number(word: str) -> bool:
    try:
        float(word)
    except ValueError:
        return False
    return True
