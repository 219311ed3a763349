"""Puts the shared library into the wheel, whose tag then names the platform."""

from __future__ import annotations

import os
import sys
from pathlib import Path
from typing import Any

from hatchling.builders.hooks.plugin.interface import BuildHookInterface

_ROOT = Path(__file__).resolve().parent
# The library's file in the package, and the wheel's platform, by the name of the file that is given.
_PLATFORMS = {".dll": ("qvreg.dll", "win_amd64"), ".so": ("libqvreg.so", "linux_x86_64")}


class LibraryHook(BuildHookInterface):
    """Takes the library that the environment variable ``QVREG_LIBRARY`` names."""

    PLUGIN_NAME = "custom"

    def initialize(self, version: str, build_data: dict[str, Any]) -> None:
        library = self._library()
        name, platform = _PLATFORMS[library.suffix]
        build_data["pure_python"] = False
        build_data["tag"] = f"py3-none-{platform}"
        build_data["force_include"][str(library)] = f"qvreg/lib/{name}"

    def _library(self) -> Path:
        named = os.environ.get("QVREG_LIBRARY")
        if not named:
            sys.exit("The wheel needs the shared library: let the environment variable QVREG_LIBRARY name it "
                     "(./dev python does), as build/release/lib/libqvreg.so.")
        library = Path(named).resolve()
        if not library.is_file():
            sys.exit(f"QVREG_LIBRARY names {named}, which is no file.")
        # A library that was built with a version in its name.
        return library if library.suffix in _PLATFORMS else self._without_version(library)

    @staticmethod
    def _without_version(library: Path) -> Path:
        plain = library.with_name(library.name.split(".so")[0] + ".so")
        if not plain.is_file():
            sys.exit(f"{library} is neither a .so nor a .dll.")
        return plain
