"""docs/statuses.md has the codes of the headers, each with the texts that users read."""

import ctypes
import os
import re
import signal
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def read(name):
    return (ROOT / name).read_text(encoding="utf-8")


def between(text, begin, end):
    return text[text.index(begin):].split(end, 1)[0]


def library_codes():
    """The names in C++ by code."""
    return {int(code): name for name, code in
            re.findall(r"constexpr long (k\w+) = (\d+);", read("qvreg/common/QvStatusCodes.h"))}


def c_codes(enumeration):
    """The names of an enumeration of the C interface, by code."""
    body = between(read("qvreg/c/qvreg_c.h"), f"enum {enumeration} {{", "};")
    return {int(code): name for name, code in re.findall(r"(QVREG_\w+)\s*=\s*(\d+)", body)}


def command_texts():
    """What the command says of a status of the library, by its name in C++."""
    source = between(read("host/fit/StatusText.cpp"), "kTexts = {", "struct OutcomeWords")
    entries = re.findall(r'CodeText\{\s*QvStatusCode::(k\w+),((?:\s*"(?:[^"\\]|\\.)*")+)\}', source)
    return {name: "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', body)) for name, body in entries}


def sections():
    """By code: the names in the heading, and the entries by their label."""
    found = {}
    for part in read("docs/statuses.md").split("\n### ")[1:]:
        code, names = re.match(r"(\d+): (.*)", part).groups()
        entries = dict(re.findall(r"^- ([^:\n]+): (.*)$", part, re.M))
        found[int(code)] = (re.findall(r"`(\w+)`", names), entries)
    return found


def table(heading):
    """The rows of the table below a heading, as cells."""
    body = between(read("docs/statuses.md"), f"## {heading}\n", "\n## ")
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in body.splitlines() if line.startswith("| ")]
    return [row for row in rows if row[0].isdigit()]


class Statuses(unittest.TestCase):
    def test_the_page_has_the_codes_of_the_headers(self):
        cpp, c = library_codes(), c_codes("qvreg_code")
        self.assertGreater(len(cpp), 15)
        names = {code: ([cpp[code]] if code in cpp else []) + [c[code]] for code in set(cpp) | set(c) if code}
        self.assertEqual({code: names for code, (names, _) in sections().items()}, names)

    def test_each_code_says_what_to_do(self):
        for code, (_, entries) in sections().items():
            self.assertGreater(len(entries.get("Why, and what to do", "")), 20, code)

    def test_the_texts_are_those_of_the_library(self):
        path = os.environ.get("QVREG_LIBRARY")
        if not path:
            self.skipTest("there is no shared library to ask")
        text_of = ctypes.CDLL(path).qvreg_code_text
        text_of.restype = ctypes.c_char_p
        for code, (_, entries) in sections().items():
            self.assertEqual(entries["Text"], text_of(code).decode(), code)

    def test_the_sentences_are_those_of_the_command(self):
        texts = command_texts()
        for code, name in library_codes().items():
            if code:
                self.assertEqual(sections()[code][1]["Command"], texts[name], code)

    def test_the_exit_codes_are_those_of_the_command(self):
        body = between(read("host/Error.h"), "enum class ExitCode", "};")
        codes = {int(code) for code in re.findall(r"k\w+ = (\d+)", body)}
        codes |= {128 + getattr(signal, name) for name in re.findall(r"kSignalBase \+ (SIG\w+)", body)}
        codes |= {128 + int(number) for number in re.findall(r"kSignalBase \+ (\d+)", body)}
        self.assertEqual({int(row[0]) for row in table("Exit codes of the command")}, codes)

    def test_the_outcomes_are_those_of_json_and_the_headers(self):
        source = between(read("host/fit/StatusText.cpp"), "kOutcomes = {{", "}};")
        names = re.findall(r'\{"(\w+)"', source)
        rows = [(int(row[0]), row[1].strip("`")) for row in table("How iterations end")]
        self.assertEqual(rows, list(enumerate(names)))
        self.assertEqual([code for code, _ in rows], sorted(c_codes("qvreg_outcome")))


if __name__ == "__main__":
    unittest.main()
