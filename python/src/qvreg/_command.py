"""The command `qvreg`, which reads files that Python need not."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
from pathlib import Path
from typing import Any

from .errors import DataError

# Names the command where it is not in the package or on the path.
_VARIABLE = "QVREG_COMMAND"
_INTERRUPTED = (130, -2)


def command() -> str:
    """The command's path; an exception with what to do where there is none."""
    given = os.environ.get(_VARIABLE)
    if given:
        if shutil.which(given) is None:
            raise DataError(f"The environment variable {_VARIABLE} names {given!r}, which is no program.")
        return given
    name = "qvreg.exe" if os.name == "nt" else "qvreg"
    beside = Path(__file__).with_name(name)
    found = str(beside) if beside.is_file() else shutil.which(name)
    if found is None:
        raise DataError("Files are read by the command 'qvreg', which is not installed here: put it on the path or "
                        f"into {_VARIABLE}, or read the file yourself, as pandas.read_parquet(path) or, in chunks, "
                        "fit_chunks(lambda: pandas.read_csv(path, chunksize=100_000), …) do.")
    return found


def run(arguments: list[str]) -> str:
    """What the command prints with these `arguments`; an exception with its words where it fails."""
    program = command()
    try:
        made = subprocess.run([program, *arguments], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              encoding="utf-8", errors="replace", check=False)
    except OSError as error:
        raise _other_program(program) from error
    if made.returncode == 0:
        return made.stdout
    if made.returncode in _INTERRUPTED:
        raise KeyboardInterrupt
    words = made.stderr.strip().removeprefix("qvreg: ") or f"it ended with {made.returncode}."
    raise DataError(f"The command 'qvreg' cannot read the data: {words}")


def answered(arguments: list[str], path: Path | None = None) -> dict[str, Any]:
    """The columns and what else the command says as JSON with these `arguments`, in the file `path` or printed."""
    text = run(arguments)
    try:
        made = json.loads(text if path is None else path.read_text(encoding="utf-8"))
        if all({"name", "kind"} <= set(column) for column in made["columns"]):
            return made
    except (OSError, ValueError, TypeError, LookupError):
        pass
    raise _other_program(command())


def _other_program(program: str) -> DataError:
    source = f", which {_VARIABLE} names," if os.environ.get(_VARIABLE) else ""
    return DataError(f"The program {program!r}{source} does not answer as the command 'qvreg' of this version does: "
                     f"give {_VARIABLE} the path of that command.")
