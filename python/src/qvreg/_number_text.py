"""Numbers as the shortest texts of which the same bits are read again, as the library writes them."""

from __future__ import annotations

import re
import struct
from collections.abc import Iterable

import numpy as np

_DECIMAL = re.compile(r"-?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?", re.ASCII)
# Of these `float` makes numbers that are decimal, or none.
_DECIMAL_CHARACTERS = frozenset("0123456789.e+- ")
_USUAL_NAN = 0x7FF8000000000000


def number_text(value: float) -> str:
    """The shortest decimal number; the plain one of two as short."""
    value = float(value)
    text = repr(value)
    # What is right as it is, which nearly all numbers are.
    if ("e-" in text or 0.001 <= abs(value) < 1e15) and not text.endswith(".0"):
        return text
    if value != value:
        bits = struct.unpack("<Q", struct.pack("<d", value))[0]
        return "NaN" if bits == _USUAL_NAN else f"NaN:{bits:x}"
    if value in (np.inf, -np.inf):
        return "INF" if value > 0 else "-INF"
    sign, text = ("-", text[1:]) if text[0] == "-" else ("", text)
    mantissa, _, power = text.partition("e")
    whole, _, fraction = mantissa.partition(".")
    digits = (whole + fraction).lstrip("0")
    if not digits:
        return sign + "0"
    # The number is 0.digits times ten to the power of `point`.
    point = int(power or 0) + len(whole) - (len(whole + fraction) - len(digits))
    digits = digits.rstrip("0")
    return sign + min(_plain(digits, point, abs(value)), _scientific(digits, point - 1), key=len)


def _plain(digits: str, point: int, value: float) -> str:
    if point >= len(digits):
        return str(int(value))
    return f"{digits[:point]}.{digits[point:]}" if point > 0 else f"0.{'0' * -point}{digits}"


def _scientific(digits: str, power: int) -> str:
    fraction = f".{digits[1:]}" if len(digits) > 1 else ""
    return f"{digits[0]}{fraction}e{'-' if power < 0 else '+'}{abs(power):02d}"


def numbers_text(values: Iterable[float]) -> str:
    """Numbers with a blank between each two."""
    return " ".join(map(number_text, values))


def wholes_text(values: Iterable[int]) -> str:
    """Whole numbers with a blank between each two."""
    return " ".join(str(int(value)) for value in values)


def read_number(text: str) -> float:
    """The number of the whole text; a ValueError for any other."""
    if text in ("INF", "-INF"):
        return -np.inf if text[0] == "-" else np.inf
    if text.startswith("NaN"):
        return _read_nan(text)
    value = float(text) if _DECIMAL.fullmatch(text) else np.inf
    if value in (np.inf, -np.inf):
        raise ValueError(f"{text!r} is no number")
    return value


def _read_nan(text: str) -> float:
    if text == "NaN":
        return np.nan
    if not re.fullmatch(r"NaN:[0-9a-f]{1,16}", text):
        raise ValueError(f"{text!r} is no number")
    value = struct.unpack("<d", struct.pack("<Q", int(text[4:], 16)))[0]
    if value == value:
        raise ValueError(f"{text!r} is no number")
    return value


def read_numbers(text: str) -> np.ndarray:
    """The numbers of the whole text; a ValueError for any other."""
    words = text.split(" ") if text else []
    if _DECIMAL_CHARACTERS.issuperset(text):
        values = np.array([float(word) for word in words], np.float64)
        if np.isfinite(values).all():
            return values
    return np.array([read_number(word) for word in words], np.float64)


def read_whole(text: str) -> int:
    """The whole number of the text; a ValueError for any other."""
    if not re.fullmatch(r"-?\d{1,18}", text, re.ASCII):
        raise ValueError(f"{text!r} is no whole number")
    return int(text)


def read_wholes(text: str) -> list[int]:
    """The whole numbers of the text; a ValueError for any other."""
    return [read_whole(word) for word in text.split(" ")] if text else []
