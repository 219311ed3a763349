"""Puts the shared library into the wheel, whose tag then names the platform."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path
from typing import Any

from hatchling.builders.hooks.plugin.interface import BuildHookInterface

_ROOT = Path(__file__).resolve().parent
_WITHOUT = [f"-DQVREG_BUILD_{part}=OFF" for part in ("TESTS", "HOST", "BENCH", "EXAMPLES")]


class LibraryHook(BuildHookInterface):
    """Takes the library that the environment variable ``QVREG_LIBRARY`` names, or builds it."""

    PLUGIN_NAME = "custom"

    def initialize(self, version: str, build_data: dict[str, Any]) -> None:
        if version == "editable":
            return
        library = self._library()
        is_windows = library.suffix == ".dll"
        name, platform = ("qvreg.dll", "win_amd64") if is_windows else ("libqvreg.so", "linux_x86_64")
        build_data["pure_python"] = False
        build_data["tag"] = f"py3-none-{platform}"
        build_data["force_include"][str(library)] = f"qvreg/lib/{name}"

    def _library(self) -> Path:
        named = os.environ.get("QVREG_LIBRARY")
        library = Path(named).resolve() if named else self._build()
        if not library.is_file():
            sys.exit(f"There is no library {library}: let QVREG_LIBRARY name it, as build/release/lib/libqvreg.so, "
                     "or leave the variable away to have it built with CMake.")
        return library

    @staticmethod
    def _build() -> Path:
        """Builds the library from the sources beside this package, or those that came with it."""
        shipped = _ROOT / "library"
        source = shipped if shipped.is_dir() else _ROOT.parent
        folder = _ROOT / "build"
        # From nothing, so that sources are compiled in groups, which is faster.
        subprocess.run(["cmake", "-S", str(source), "-B", str(folder), "-DCMAKE_BUILD_TYPE=Release",
                        "-DBUILD_SHARED_LIBS=ON", "-DQVREG_UNITY=ON", *_WITHOUT], check=True)
        # Without a number make starts all compilers at once.
        subprocess.run(["cmake", "--build", str(folder), "--target", "qvreg", "--parallel", str(os.cpu_count() or 1)],
                       check=True)
        return (folder / "lib" / "libqvreg.so").resolve()
