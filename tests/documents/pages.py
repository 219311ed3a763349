"""Reads a document: its fenced blocks, its comments to this test, its links and its headings.

What a document may hold, and what becomes of it:

- ```console: lines `$ COMMAND`, each with what it prints behind it. A command goes on behind a `\\` at
  the end of its line and through a here-document. It is run, and what it prints is compared. A command
  that fails must be followed by `$ echo $?`.
- ```sh: commands that must succeed; what they print is not shown, and not compared.
- ```r and ```python: one session of each per document. What a block prints stands in a block ```text
  behind it; without one it prints nothing.
- ```cpp and ```c: compiled. A fragment says in a comment before it what stands around it:
  `<!-- compiled in: ... @block@ ... -->`.
- `<!-- run: COMMANDS -->`: commands that readers do without, such as those that make a table.
- `<!-- not run: REASON -->` before a block: neither run nor compiled.
"""

import re
from dataclasses import dataclass, field

_FENCE = re.compile(r"^(```+|~~~+)\s*(\S*)\s*$")
_COMMENT = re.compile(r"^<!-- (run|not run|compiled in):\s*(.*)$")
_HEREDOC = re.compile(r"<<-?\s*(['\"]?)(\w+)\1")
_LINK = re.compile(r"(?<!!)\[(?:[^\]\[]|\[[^\]]*\])*\]\(([^)\s]+)(?:\s+\"[^\"]*\")?\)|!\[[^\]]*\]\(([^)\s]+)\)")
_HEADING = re.compile(r"^#{1,6}\s+(.*?)\s*#*\s*$")


class PageError(Exception):
    """Something in a document that this test cannot take; the message begins with its place."""


@dataclass
class Block:
    """A fenced block, or the commands of a comment `run:`. Lines of a page count from 1."""
    language: str
    line: int          # of the first line inside
    text: list
    exempt: str = ""   # the reason of `not run:`
    around: str = ""   # the template of `compiled in:`


@dataclass
class Command:
    """A command of a console block, and what the document says that it prints."""
    text: str
    line: int
    output: list = field(default_factory=list)
    output_line: int = 0


@dataclass
class Page:
    blocks: list
    links: list      # (line, target)
    anchors: set
    problems: list   # (line, sentence)


def _slug(heading):
    """The anchor of a heading, as GitHub forms it."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading.replace("`", ""))
    return re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")


def _comment(lines, at):
    """The comment that begins in line `at`: its kind, its text, and the line behind it."""
    kind, first = _COMMENT.match(lines[at]).groups()
    text = []
    rest = first
    while True:
        end = rest.find("-->")
        text.append(rest if end < 0 else rest[:end].rstrip())
        at += 1
        if end >= 0 or at >= len(lines):
            return kind, text, at
        rest = lines[at]


def read_page(name, lines):
    """Takes a document apart; `name` is for messages."""
    page = Page([], [], set(), [])
    exempt = around = ""
    at = 0
    while at < len(lines):
        line = lines[at]
        fence = _FENCE.match(line)
        if fence:
            mark, language = fence.groups()
            end = at + 1
            while end < len(lines) and lines[end].rstrip() != mark:
                end += 1
            if end == len(lines):
                raise PageError(f"{name}:{at + 1}: the block has no end")
            if not language:
                page.problems.append((at + 1, "the block has no language"))
            page.blocks.append(Block(language, at + 2, lines[at + 1:end], exempt, around))
            exempt = around = ""
            at = end + 1
            continue
        if _COMMENT.match(line):
            kind, text, behind = _comment(lines, at)
            if kind == "run":
                page.blocks.append(Block("run", at + 1, text))
            elif kind == "not run":
                exempt = " ".join(part.strip() for part in text).strip()
            else:
                around = "\n".join(text)
            at = behind
            continue
        if line.startswith("    ") and at > 0 and not lines[at - 1].strip() and not _in_list(lines, at):
            page.problems.append((at + 1, "an indented block: fence it and name its language"))
        heading = _HEADING.match(line)
        if heading:
            page.anchors.add(_slug(heading.group(1)))
        # Code may be the text of a link, and holds none.
        prose = re.sub(r"(`+)(?:(?!\1).)*\1(?!`)", "code", re.sub(r"\[`[^`]*`\]\(", "[code](", line))
        page.links += [(at + 1, one or other) for one, other in _LINK.findall(prose)]
        if line.strip() and (exempt or around):
            page.problems.append((at + 1, "the comment above stands before no block"))
            exempt = around = ""
        at += 1
    return page


def _in_list(lines, at):
    """Whether the paragraph above an indented line belongs to a list."""
    while at > 0 and (not lines[at].strip() or lines[at].startswith("  ")):
        at -= 1
    return bool(re.match(r"\s*([-*+]|\d+\.)\s", lines[at]))


def commands_of(block):
    """The commands of a console block. Raises PageError where it begins with something else."""
    commands = []
    lines = block.text
    at = 0
    while at < len(lines):
        line = lines[at]
        if not line.startswith("$ "):
            if not commands:
                if line.strip():
                    raise PageError(f"line {block.line + at}: a console block begins with '$ '")
            else:
                commands[-1].output.append(line)
            at += 1
            continue
        begin = at
        text = [line[2:]]
        while text[-1].endswith("\\") and at + 1 < len(lines):
            at += 1
            text.append(lines[at])
        heredoc = _HEREDOC.search("\n".join(text))
        while heredoc and at + 1 < len(lines):
            at += 1
            text.append(lines[at])
            if lines[at] == heredoc.group(2):
                break
        at += 1
        commands.append(Command("\n".join(text), block.line + begin, [], block.line + at))
    return commands
