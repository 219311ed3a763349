"""Models as bytes: what the library writes, and what names the columns, in one archive.

An archive is a zip file of two members: ``model.json``, the formula, its levels and the kind of the
model, and ``model.qvreg``, the bytes of the library, which every later version reads.
"""

from __future__ import annotations

import io
import json
import os
import zipfile
from contextlib import suppress
from pathlib import Path

import numpy as np

from .errors import DataError, QvregError

ARCHIVE_START = b"PK"
_FORMAT = 1
_DESCRIPTION, _MODEL = "model.json", "model.qvreg"


def pack(description: dict, model: bytes) -> bytes:
    """The archive of a `description` and of the library's bytes of a `model`."""
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w") as archive:
        archive.writestr(_DESCRIPTION, json.dumps({"format": _FORMAT, **description}, indent=1))
        archive.writestr(_MODEL, model)
    return buffer.getvalue()


def unpack(packed: bytes, name: str) -> tuple[dict, bytes]:
    """What `pack` made `packed` of. `name` is what messages call it."""
    try:
        with zipfile.ZipFile(io.BytesIO(packed)) as archive:
            description = json.loads(archive.read(_DESCRIPTION))
            model = archive.read(_MODEL)
    except (zipfile.BadZipFile, KeyError, ValueError) as error:
        raise DataError(f"{name} is no saved model of qvreg: {error}.") from error
    if description.get("format") != _FORMAT:
        raise DataError(f"{name} was saved in format {description.get('format')}; this version reads format "
                        f"{_FORMAT}. Install a newer version.")
    return description, model


def is_pmml(path: str | os.PathLike) -> bool:
    """Whether a path is that of PMML, as the command has it."""
    return Path(path).suffix.lower() in (".pmml", ".xml")


def write_file(path: str | os.PathLike, packed: bytes) -> None:
    """Writes a file that is whole or not there: it takes its name when it is complete."""
    target = Path(path)
    part = target.with_name(target.name + ".part")
    try:
        part.write_bytes(packed)
        part.replace(target)
    except OSError as error:
        with suppress(OSError):
            part.unlink()
        raise type(error)(error.errno, error.strerror, str(target)) from None


def plain_levels(levels: tuple | None) -> list | None:
    """Levels for JSON: text, numbers and truth values."""
    if levels is None:
        return None
    plain = [level.item() if isinstance(level, np.generic) else level for level in levels]
    for level in plain:
        if not isinstance(level, (str, int, float, bool)):
            raise QvregError(f"The level {level!r} is a {type(level).__name__}: only models whose levels are text, "
                             "numbers or truth values can be saved. Convert the column to text before the fit.")
    return plain
