#!/usr/bin/env python3
"""Runs every command of README.md and docs/*.md and compares what it prints with what they say.

    tests/documents/run.py build/release/bin/qvreg [PAGE...]

`--write` puts what was printed into the documents, where it differs; read it before it is committed.
pages.py says what a document may hold, comparison.py what counts as the same. The tests of the
comparison and of the codes in docs/statuses.md run first.
"""

import argparse
import functools
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import comparison
import pages
import sessions

ROOT = Path(__file__).resolve().parents[2]
COMPILED = ("c", "cpp")
# Kinds of blocks that nothing could run, and why.
EXEMPT = {"mermaid": "a drawing"}
SESSIONS = ("python", "r")


class Run:
    """One document: `failures` are texts, `skipped` and `exempt` are (place, reason)."""

    def __init__(self, name, command, includes):
        self.name = name
        self._lines = (ROOT / name).read_text(encoding="utf-8").splitlines()
        self._command = command
        self._includes = includes
        self._code = 0
        self._sessions = {}
        self._edits = []
        self.failures = []
        self.skipped = []
        self.exempt = []
        self.counts = {"commands": 0, "sessions": 0, "compiled": 0, "links": 0}

    def run(self):
        try:
            page = pages.read_page(self.name, self._lines)
        except pages.PageError as error:
            self.failures.append(str(error))
            return self
        self.failures += [f"{self.name}:{line}: {text}" for line, text in page.problems]
        self._check_links(page)
        with tempfile.TemporaryDirectory(prefix="qvreg-document-") as folder:
            self._prepare(Path(folder))
            try:
                self._run_blocks(page.blocks, folder)
            finally:
                for session in self._sessions.values():
                    if session:
                        session.close()
        return self

    def write(self):
        """Puts what was printed into the document."""
        lines = self._lines
        for begin, end, printed in sorted(self._edits, reverse=True):
            lines[begin:end] = printed
        if self._edits:
            (ROOT / self.name).write_text("\n".join(lines) + "\n", encoding="utf-8")
        return len(self._edits)

    def _prepare(self, folder):
        """A fresh folder as a reader's own: the example data, and the command where it was built."""
        shutil.copytree(ROOT / "examples/data", folder / "examples/data")
        bin_folder = folder / "build/release/bin"
        bin_folder.mkdir(parents=True)
        (bin_folder / "qvreg").symlink_to(self._command)
        self._env = sessions.environment(folder, str(self._command))

    def _run_blocks(self, blocks, folder):
        at = 0
        while at < len(blocks):
            block = blocks[at]
            at += 1
            place = f"{self.name}:{block.line}"
            reason = block.exempt or EXEMPT.get(block.language)
            if reason:
                self.exempt.append((place, reason))
            elif block.language in ("run", "sh"):
                self._run_lines(block, folder)
            elif block.language == "console":
                self._run_console(block, folder)
            elif block.language in SESSIONS:
                following = blocks[at] if at < len(blocks) and blocks[at].language == "text" else None
                at += following is not None
                self._run_session(block, following, folder)
            elif block.language in COMPILED:
                self._compile(block, folder)
            else:
                self.failures.append(f"{place}: a block of '{block.language}' is neither run nor compiled: "
                                     "say why in a comment before it, <!-- not run: REASON -->")

    def _run_lines(self, block, folder):
        self.counts["commands"] += sum(not line.startswith(" ") for line in block.text)
        printed, code = sessions.run_command("\n".join(["set -e"] + block.text), folder, self._env)
        if code:
            self._fail(block.line, "the block's commands", [f"exit code {code}"] + printed)

    def _run_console(self, block, folder):
        try:
            commands = pages.commands_of(block)
        except pages.PageError as error:
            self.failures.append(f"{self.name}: {error}")
            return
        for i, command in enumerate(commands):
            self.counts["commands"] += 1
            try:
                printed, code = sessions.run_command(command.text, folder, self._env, self._code)
            except subprocess.TimeoutExpired:
                self._fail(command.line, f"$ {command.text}", ["it takes too long"])
                continue
            self._code = code
            told = i + 1 < len(commands) and commands[i + 1].text == "echo $?"
            if code and not told:
                self._fail(command.line, f"$ {command.text}",
                           [f"exit code {code}; a command that is meant to fail is followed by '$ echo $?'"])
            self._compare(command, f"$ {command.text}", printed, 0)

    def _run_session(self, block, following, folder):
        language = block.language
        absent = sessions.missing(language, block.text)
        if absent and language not in self._sessions:
            self._sessions[language] = None
        if absent or self._sessions.get(language, 0) is None:
            # Later blocks rest on what this one computes.
            self._sessions[language] = None
            what = ", ".join(absent) or "what an earlier block needs"
            self.skipped.append((f"{self.name}:{block.line}", f"{language}: {what} is not installed"))
            return
        if language not in self._sessions:
            self._sessions[language] = sessions.Session(language, folder, self._env)
        self.counts["sessions"] += 1
        try:
            printed = self._sessions[language].run(block.text)
        except sessions.SessionError as error:
            self._fail(block.line, f"the block of {language}", ["the session ended:"] + str(error).splitlines())
            return
        told = pages.Command("", block.line, following.text if following else [],
                             following.line if following else 0)
        self._compare(told, f"the block of {language}", printed, 1)

    def _compare(self, command, what, printed, units):
        if comparison.is_ellipsis_alone(command.output):
            self._fail(command.line, what, ["the output is an ellipsis alone, which anything matches: use a block of sh"])
        found = comparison.difference(command.output, printed, units)
        if found is None:
            return
        self._fail(command.line, what, found)
        has_ellipsis = any(line.strip() in comparison.ELLIPSES for line in command.output)
        if command.output_line and not has_ellipsis:
            begin = command.output_line - 1
            self._edits.append((begin, begin + len(command.output), _as_shown(command, printed)))

    def _compile(self, block, folder):
        self.counts["compiled"] += 1
        found = sessions.compile_block(block, folder, self._env, self._includes)
        if found is not None:
            self._fail(block.line, f"a block of {block.language}", found)

    def _fail(self, line, what, details):
        self.failures.append("\n    ".join([f"{self.name}:{line}: {what}"] + details))

    def _check_links(self, page):
        for line, target in page.links:
            self.counts["links"] += 1
            problem = link_problem(self.name, page, target)
            if problem:
                self.failures.append(f"{self.name}:{line}: {problem}")


def _as_shown(command, printed):
    """What was printed, with the blank lines around it that the document has."""
    lines = [line.rstrip() for line in printed]
    while lines and not lines[0]:
        lines.pop(0)
    while lines and not lines[-1]:
        lines.pop()
    old = command.output
    before = [""] if printed and not printed[0].strip() else []
    after = [""] if old and not old[-1].strip() else []
    return before + lines + after if lines else after


@functools.cache
def anchors_of(file):
    return pages.read_page(file.name, file.read_text(encoding="utf-8").splitlines()).anchors


def link_problem(name, page, target):
    """What is wrong with a link of a document; None where it leads somewhere."""
    if re.match(r"[a-z][a-z0-9+.-]*:", target):
        return None
    path, _, anchor = target.partition("#")
    file = (ROOT / name).parent / path if path else ROOT / name
    if not file.exists():
        return f"the link leads to no file: {target}"
    if not anchor:
        return None
    known = anchors_of(file) if path and file.suffix == ".md" else page.anchors
    return None if anchor in known else f"the link leads to no heading: {target}"


def run_unit_tests(library):
    """The tests of the comparison, and those of the codes. Whether all passed."""
    os.environ["QVREG_LIBRARY"] = library or ""
    suite = unittest.defaultTestLoader.discover(str(Path(__file__).parent), pattern="test_*.py")
    return unittest.TextTestRunner(verbosity=1, stream=sys.stdout).run(suite).wasSuccessful()


def report(runs):
    for run in runs:
        for text in run.failures:
            print(text + "\n")
    for title, what in (("not run, with a reason", "exempt"), ("skipped here", "skipped")):
        found = [entry for run in runs for entry in getattr(run, what)]
        if found:
            print(f"{title}: {len(found)}")
            for place, reason in found:
                print(f"  {place}: {reason}")
    total = {key: sum(run.counts[key] for run in runs) for key in runs[0].counts}
    failures = sum(len(run.failures) for run in runs)
    print(f"{len(runs)} documents: {total['commands']} commands and {total['sessions']} blocks of R and Python run, "
          f"{total['compiled']} blocks compiled, {total['links']} links followed; "
          f"{sum(len(run.exempt) for run in runs)} blocks not run, {sum(len(run.skipped) for run in runs)} skipped; "
          f"{failures} failures")
    return failures == 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("command", type=Path, help="the command qvreg")
    parser.add_argument("pages", nargs="*", help="documents, relative to the root; all without")
    parser.add_argument("--include", action="append", default=[], help="folder of the built headers")
    parser.add_argument("--library", help="the shared library, whose texts of codes are compared")
    parser.add_argument("--write", action="store_true", help="put what was printed into the documents")
    arguments = parser.parse_intermixed_args()

    good = arguments.write or bool(arguments.pages) or run_unit_tests(arguments.library)
    names = arguments.pages or ["README.md"] + sorted(f"docs/{file.name}" for file in (ROOT / "docs").glob("*.md"))
    build = arguments.command.resolve().parents[1]
    includes = [str(ROOT)] + (arguments.include or [str(build / "include")])
    with ThreadPoolExecutor(max_workers=os.cpu_count() or 1) as pool:
        runs = list(pool.map(lambda name: Run(name, arguments.command.resolve(), includes).run(), names))
    good = report(runs) and good
    if arguments.write:
        print(f"{sum(run.write() for run in runs)} outputs written")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
