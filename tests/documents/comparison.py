"""Compares what a document says that a command prints with what it printed.

Everything counts but blanks at the ends of lines, blank lines at the start and the end, and

- numbers of 15 or more significant digits, which are doubles written in full: 12 digits count, since
  their last bits depend on the processor's arithmetic;
- measures of a run, such as `0.31 s`, `12 ms` and `70 MB`;
- in sessions of R and Python, the last digit of a number with a decimal point, by one unit: their
  arithmetic depends on the libraries that are installed.

A line `…` or `[...]` stands for any number of lines.
"""

import difflib
import re
from decimal import Decimal

_NUMBER = re.compile(r"(?<![\w.])[-+]?\d+(?:\.\d+)?(?:[eE][-+]?\d+)?(?![\w.]*\w)")
_MEASURE = re.compile(r"(?<![\w.])\d+(?:\.\d+)? (?:ms|s|seconds?|minutes?|KB|MB|GB)(?!\w)")
ELLIPSES = ("…", "[...]")
_FULL = 15
_RELATIVE = Decimal("1e-12")


def _digits(text):
    mantissa = re.split("[eE]", text)[0]
    return len(re.sub(r"\D", "", mantissa).lstrip("0"))


def same_number(expected, printed, units=0):
    """Whether two numbers are the same as text, in 12 digits of full ones, or in `units` of the last
    digit that both show."""
    if expected == printed:
        return True
    one, other = Decimal(expected), Decimal(printed)
    is_real = any(c in expected for c in ".eE") and any(c in printed for c in ".eE")
    if not is_real:
        return False
    if min(_digits(expected), _digits(printed)) >= _FULL:
        return abs(one - other) <= _RELATIVE * max(abs(one), abs(other))
    last = one.as_tuple().exponent
    return last == other.as_tuple().exponent and abs(one - other) <= units * Decimal(1).scaleb(last)


def same_line(expected, printed, units=0):
    expected = _MEASURE.sub("MEASURE", expected.rstrip())
    printed = _MEASURE.sub("MEASURE", printed.rstrip())
    if expected == printed:
        return True
    if _NUMBER.sub("#", expected) != _NUMBER.sub("#", printed):
        return False
    pairs = zip(_NUMBER.findall(expected), _NUMBER.findall(printed))
    return all(same_number(one, other, units) for one, other in pairs)


def _without_blank_ends(lines):
    begin, end = 0, len(lines)
    while begin < end and not lines[begin].strip():
        begin += 1
    while end > begin and not lines[end - 1].strip():
        end -= 1
    return [line.rstrip() for line in lines[begin:end]]


def is_ellipsis_alone(lines):
    """Whether an output says nothing, so that its comparison could not fail."""
    shown = [line.strip() for line in lines if line.strip()]
    return bool(shown) and all(line in ELLIPSES for line in shown)


def _same_lines(expected, printed, units):
    return len(expected) == len(printed) and all(
        same_line(one, other, units) for one, other in zip(expected, printed))


def _parts(lines):
    """The runs of lines between ellipses."""
    parts = [[]]
    for line in lines:
        if line.strip() in ELLIPSES:
            parts.append([])
        else:
            parts[-1].append(line)
    return parts


def _matches(expected, printed, units):
    first, *others = _parts(expected)
    if not others:
        return _same_lines(first, printed, units)
    if not _same_lines(first, printed[:len(first)], units):
        return False
    at = len(first)
    for part in others[:-1]:
        while at + len(part) <= len(printed) and not _same_lines(part, printed[at:at + len(part)], units):
            at += 1
        at += len(part)
    last = others[-1]
    return at + len(last) <= len(printed) and _same_lines(last, printed[len(printed) - len(last):], units)


def difference(expected, printed, units=0):
    """None where the lines agree; else a diff, `-` what the document says and `+` what was printed."""
    expected, printed = _without_blank_ends(expected), _without_blank_ends(printed)
    if _matches(expected, printed, units):
        return None
    known = list(expected)
    shown = []
    for line in printed:
        like = next((one for one in known if same_line(one, line, units)), line)
        shown.append(like)
    return list(difflib.unified_diff(expected, shown, "the document", "printed", lineterm="", n=1))
