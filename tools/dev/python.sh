# shellcheck shell=bash
# The Python package: its wheels, its source distribution, and the tests of both.
# A part of ./dev, which reads all parts.

# wheel_of LIBRARY: a wheel with this library in python/dist.
wheel_of() {
  local log=$root/build/python/wheel.log
  # Debian's hatchling lacks what it needs for editable installations alone.
  QVREG_LIBRARY=$root/$1 quietly "$log" \
    /usr/bin/python3 -m build --wheel --no-isolation --skip-dependency-check --outdir python/dist python ||
    fail "the wheel of $1 could not be built (all that was said: $log)." \
         "Its last lines are above."
  chmod a+r python/dist/*.whl
}

# in_fresh_python NAME WHAT: installs WHAT, a wheel or a folder of sources, into a virtual environment of
# that name, which sees Debian's packages.
in_fresh_python() {
  local venv=$root/build/python/$1 log=$root/build/python/$1.log
  /usr/bin/python3 -m venv --system-site-packages "$venv"
  quietly "$log" timeout 1800 "$venv/bin/python" -m pip install --no-index --no-deps --no-cache-dir \
    --no-build-isolation --disable-pip-version-check --force-reinstall "$2" ||
    fail "$2 could not be installed into $venv (all that pip said: $log)." "Its last lines are above."
}

# pytest_of NAME ARGUMENT...: pytest with the package installed there, and not with that of the sources.
pytest_of() {
  local venv=$root/build/python/$1
  shift
  (cd "$root/build/python" && env -u QVREG_LIBRARY -u PYTHONPATH PYTHONDONTWRITEBYTECODE=1 \
    "$venv/bin/python" -m pytest -q -p no:cacheprovider -c "$root/python/pyproject.toml" \
    --rootdir "$root/python" --doctest-glob='README.md' "$@")
}

# The source distribution, unpacked and installed from: CMake builds the library out of what is in it.
from_source_distribution() {
  local work=$root/build/python
  quietly "$work/sdist.log" \
    /usr/bin/python3 -m build --sdist --no-isolation --skip-dependency-check --outdir python/dist python ||
    fail "the source distribution could not be built (all that was said: $work/sdist.log)." \
         "Its last lines are above."
  chmod a+r python/dist/*.tar.gz
  mkdir "$work/source"
  tar -xzf python/dist/*.tar.gz -C "$work/source" --strip-components=1
  local launcher=
  if command -v ccache >/dev/null; then launcher=ccache; fi
  say "building the library of" python/dist/*.tar.gz "${launcher:+with ccache}"
  CMAKE_GENERATOR=Ninja CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER:-$launcher} \
    CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER:-$launcher} \
    in_fresh_python from-source "$work/source"
  say "testing" python/dist/*.tar.gz "by the examples of python/README.md"
  pytest_of from-source "$root/python/README.md"
}

# The DLL of the wheel for Windows, called under Wine as the package calls it: every number has to be that of
# the wheel for Linux, to the last bit.
call_windows_wheel() {
  local work=$root/build/python
  local source=tests/windows/wheel_calls.c options=(-std=c11 -Wall -Wextra -Wpedantic -Werror -I. -Ibuild/release/include)
  install_packages windows
  /usr/bin/python3 -m zipfile -e python/dist/*-win_amd64.whl "$work/windows"
  cc "${options[@]}" "$source" -o "$work/wheel_calls" -ldl
  x86_64-w64-mingw32-gcc-posix "${options[@]}" "$source" -o "$work/wheel_calls.exe"
  "$work/wheel_calls" "$(echo "$work"/venv/lib/python3*/site-packages/qvreg/lib/libqvreg.so)" >"$work/calls-linux.txt"
  local dll=$work/windows/qvreg/lib/qvreg.dll
  WINEPREFIX=$root/build/windows/wine tools/with-wine-server cmake/toolchains/run-under-wine \
    "$work/wheel_calls.exe" "Z:${dll//\//\\}" | tr -d '\r' >"$work/calls-windows.txt"
  cmp "$work/calls-linux.txt" "$work/calls-windows.txt" ||
    fail "the wheel for Windows gives other numbers than that for Linux." \
         "Compare $work/calls-linux.txt with $work/calls-windows.txt."
  say "the DLL of" python/dist/*-win_amd64.whl "gives Linux's bits in all" \
      "$(wc -l <"$work/calls-linux.txt") lines of tests/windows/wheel_calls.c"
}

# The wheel of the Python package, its tests in a fresh virtual environment, and the examples of its
# documents; then the wheel for Windows, if there is one, and the source distribution. What follows goes to
# pytest, and the wheel for Linux is tested alone.
python() {
  install_packages build python
  if [[ ! -f build/release/build.ninja ]]; then
    configure release -DQVREG_BUILD_TESTS=OFF -DQVREG_BUILD_BENCH=OFF -DQVREG_BUILD_EXAMPLES=OFF \
      -DQVREG_BUILD_HOST=OFF
  fi
  # The command's tests beside the package run where it is part of the build.
  local targets=(qvreg)
  if grep -q '^QVREG_BUILD_HOST:BOOL=ON' build/release/CMakeCache.txt; then targets+=(qvreg_command); fi
  compile release --target "${targets[@]}"
  say "building the wheel"
  local work=$root/build/python
  rm -rf python/dist "$work"
  mkdir -p "$work"
  wheel_of build/release/lib/libqvreg.so
  # Made by ./dev windows.
  if [[ -f build/windows/bin/qvreg.dll ]]; then wheel_of build/windows/bin/qvreg.dll; fi
  in_fresh_python venv "$(echo "$root"/python/dist/*-linux_x86_64.whl)"
  say "testing" python/dist/*-linux_x86_64.whl
  if [[ -x build/release/bin/qvreg ]]; then
    local -x QVREG_COMMAND=$root/build/release/bin/qvreg
  else
    say "there is no build/release/bin/qvreg, which ./dev build makes: tests that read files by it are skipped"
  fi
  pytest_of venv --doctest-modules "$root/python/tests" "$root/python/README.md" \
    "$(cd "$work" && venv/bin/python -c 'import pathlib, qvreg; print(pathlib.Path(qvreg.__file__).parent)')" "$@"
  if [[ $# -gt 0 ]]; then return; fi
  if compgen -G 'python/dist/*-win_amd64.whl' >/dev/null; then call_windows_wheel; fi
  from_source_distribution
}
