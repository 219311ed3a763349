"""The command `qvreg`, which reads files that Python need not."""

from __future__ import annotations

import os
import shutil
import subprocess
from pathlib import Path

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
    made = subprocess.run([command(), *arguments], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          encoding="utf-8", errors="replace", check=False)
    if made.returncode == 0:
        return made.stdout
    if made.returncode in _INTERRUPTED:
        raise KeyboardInterrupt
    words = made.stderr.strip().removeprefix("qvreg: ") or f"it ended with {made.returncode}."
    raise DataError(f"The command 'qvreg' cannot read the data: {words}")
