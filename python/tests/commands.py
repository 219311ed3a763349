"""The command, where it is built: QVREG_COMMAND names it, or it stands in the build folder."""

import os
import subprocess
from pathlib import Path

import pandas as pd
import pytest

ROOT = Path(__file__).resolve().parents[2]


def command():
    named = os.environ.get("QVREG_COMMAND")
    path = Path(named) if named else ROOT / "build" / "release" / "bin" / "qvreg"
    if not path.exists():
        pytest.skip(f"the command is not built: there is no {path}; QVREG_COMMAND names another one")
    return path


def run(*arguments, fails=False):
    """What the command prints; with `fails` what it says of its failure."""
    made = subprocess.run([command(), *map(str, arguments)], capture_output=True, text=True)
    assert (made.returncode != 0) == fails, made.stderr
    return made.stderr if fails else made.stdout


def read_table(path):
    """A table whose numbers are those that are written in it."""
    return pd.read_csv(path, float_precision="round_trip")


def scores(path, table, folder):
    """What `qvreg score` says of the rows of `table` by the model in `path`."""
    data, out = folder / "data.csv", folder / "scores.csv"
    table.to_csv(data, index=False)
    run("score", "--model", path, "-d", data, "-o", out, "-q")
    return read_table(out)
