"""Text in columns: by the room that characters take, cut in the middle."""

from __future__ import annotations

import unicodedata


def room(text: str) -> int:
    """How many columns of a terminal `text` takes: two for a wide character of East Asia, none for a mark."""
    return sum(0 if unicodedata.combining(character) else 1 + (unicodedata.east_asian_width(character) in "WF")
               for character in text)


def cut(text: str, width: int) -> str:
    """`text` in at most `width` columns: its middle is left out, so that beginnings and levels stay."""
    if room(text) <= width:
        return text
    kept_end = (width - 1) // 2
    start, end = text, text
    while room(start) > width - 1 - kept_end:
        start = start[:-1]
    while room(end) > kept_end:
        end = end[1:]
    return start + "…" + end


def left(text: str, width: int) -> str:
    """`text`, cut, at the left of `width` columns."""
    shown = cut(text, width)
    return shown + " " * (width - room(shown))


def right(text: str, width: int) -> str:
    """`text`, cut, at the right of `width` columns."""
    shown = cut(text, width)
    return " " * (width - room(shown)) + shown
