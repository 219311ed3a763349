# shellcheck shell=bash
# What each verb needs of Debian and npm, and how it is installed.
# A part of ./dev, which reads all parts.

# A line is a Debian package and the command or file that shows it is there.
packages_for() {
  local group
  for group in "$@"; do
    case $group in
      build) cat <<'LIST'
g++ g++
cmake cmake
ninja-build ninja
libfmt-dev /usr/include/fmt/core.h
libcli11-dev /usr/include/CLI/CLI.hpp
nlohmann-json3-dev /usr/include/nlohmann/json.hpp
libsqlite3-dev /usr/include/sqlite3.h
libpugixml-dev /usr/include/pugixml.hpp
libboost-dev /usr/include/boost/math/distributions/students_t.hpp
LIST
        ;;
      fetch) cat <<'LIST'
npm npm
ca-certificates /etc/ssl/certs/ca-certificates.crt
LIST
        ;;
      test) cat <<'LIST'
libgtest-dev /usr/include/gtest/gtest.h
libbenchmark-dev /usr/include/benchmark/benchmark.h
pkg-config pkg-config
dpkg-dev dpkg-shlibdeps
file file
python3 python3
libopenmpi-dev mpicxx
openmpi-bin mpirun
jq jq
time /usr/bin/time
r-base-core Rscript
r-cran-nnet /usr/lib/R/library/nnet/DESCRIPTION
r-cran-sandwich /usr/lib/R/site-library/sandwich/DESCRIPTION
python3-pandas /usr/lib/python3/dist-packages/pandas/__init__.py
python3-statsmodels /usr/lib/python3/dist-packages/statsmodels/__init__.py
python3-sklearn /usr/lib/python3/dist-packages/sklearn/__init__.py
python3-scipy /usr/lib/python3/dist-packages/scipy/__init__.py
python3-distributed /usr/lib/python3/dist-packages/distributed/__init__.py
zsh zsh
man-db man
mandoc mandoc
LIST
        ;;
      browser) cat <<'LIST'
nodejs node
chromium chromium
fonts-dejavu-core /usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
LIST
        ;;
      bench) cat <<'LIST'
libopenblas0-pthread /usr/lib/x86_64-linux-gnu/openblas-pthread/libblas.so.3
LIST
        ;;
      python) cat <<'LIST'
python3-venv /usr/lib/python3.11/ensurepip/__init__.py
python3-build /usr/lib/python3/dist-packages/build/__init__.py
python3-hatchling /usr/lib/python3/dist-packages/hatchling/__init__.py
python3-pytest /usr/lib/python3/dist-packages/pytest/__init__.py
python3-pandas /usr/lib/python3/dist-packages/pandas/__init__.py
python3-patsy /usr/lib/python3/dist-packages/patsy/__init__.py
python3-sklearn /usr/lib/python3/dist-packages/sklearn/__init__.py
python3-statsmodels /usr/lib/python3/dist-packages/statsmodels/__init__.py
python3-tqdm /usr/lib/python3/dist-packages/tqdm/__init__.py
python3-dask /usr/lib/python3/dist-packages/dask/__init__.py
python3-distributed /usr/lib/python3/dist-packages/distributed/__init__.py
LIST
        ;;
      windows) cat <<'LIST'
g++-mingw-w64-x86-64-posix x86_64-w64-mingw32-g++-posix
wine64 /usr/lib/wine/wine64
googletest /usr/src/googletest/CMakeLists.txt
LIST
        ;;
      asan) cat <<'LIST'
clang clang++
libclang-rt-14-dev /usr/lib/clang/14/lib/linux/libclang_rt.asan-x86_64.a
LIST
        ;;
      lint) cat <<'LIST'
git git
clang-format clang-format
clang-tidy run-clang-tidy
LIST
        ;;
      memcheck) echo "valgrind valgrind" ;;
      mutate) echo "python3-clang /usr/lib/python3/dist-packages/clang/cindex.py" ;;
      docs) cat <<'LIST'
doxygen doxygen
graphviz dot
mkdocs mkdocs
mkdocs-material /usr/share/mkdocs/themes/material
linkchecker linkchecker
mandoc mandoc
python3 python3
LIST
        ;;
    esac
  done
}

present() {
  case $1 in
    /*) [[ -e $1 ]] ;;
    *) command -v "$1" >/dev/null ;;
  esac
}

missing_packages() {
  local package probe
  while read -r package probe; do
    present "$probe" || echo "$package"
  done < <(packages_for "$@")
}

as_root() {
  if [[ $EUID -eq 0 ]]; then
    env DEBIAN_FRONTEND=noninteractive "$@"
  else
    sudo env DEBIAN_FRONTEND=noninteractive "$@"
  fi
}

install_packages() {
  local missing
  mapfile -t missing < <(missing_packages "$@")
  if [[ ${#missing[@]} -eq 0 ]]; then return; fi

  local by_hand="apt-get install --no-install-recommends ${missing[*]}"
  command -v apt-get >/dev/null ||
    fail "these are missing, and this is not Debian: ${missing[*]}" \
         "Install the same libraries and tools with this system's own package manager."
  [[ $EUID -eq 0 ]] || command -v sudo >/dev/null ||
    fail "these packages are missing, and installing them needs root or sudo: ${missing[*]}" \
         "As root: $by_hand"

  say "installing from Debian: ${missing[*]}"
  local log=$deps/apt.log
  quietly "$log" as_root apt-get update -q -o DPkg::Lock::Timeout=300 ||
    fail "apt-get update failed (its last lines are above, all of them in $log)." \
         "Check the network and /etc/apt, then run this again."
  quietly "$log" as_root apt-get install -y -q --no-install-recommends \
    -o DPkg::Lock::Timeout=300 "${missing[@]}" ||
    fail "apt-get install failed (its last lines are above, all of them in $log)." \
         "Try it by hand: $by_hand"
  mapfile -t missing < <(missing_packages "$@")
  [[ ${#missing[@]} -eq 0 ]] ||
    fail "installed, and still not usable: ${missing[*]}" \
         "This script expects Debian 12. On another release, install their counterparts by hand."
}

system_has_duckdb() {
  local prefix given=${CMAKE_PREFIX_PATH:-}
  for prefix in ${given//[:;]/ } /usr/local /usr; do
    if [[ -f $prefix/include/duckdb.h ]] &&
      { compgen -G "$prefix/lib/libduckdb.so" || compgen -G "$prefix/lib/*/libduckdb.so"; } \
        >/dev/null; then
      return
    fi
  done
  return 1
}

# set_up GROUP...: what building needs, and what the groups add.
set_up() {
  local groups=(build "$@") needs_duckdb=
  if ! system_has_duckdb; then
    needs_duckdb=yes
    [[ $(uname -s)-$(uname -m) == Linux-x86_64 ]] ||
      fail "the DuckDB that this script brings is for Linux on x86-64 only, this is $(uname -sm)." \
           "Install DuckDB (duckdb.h and libduckdb) under /usr/local, then run this again."
  fi
  if [[ (-n $needs_duckdb && ! -d $deps/duckdb) || ! -d $deps/page ]]; then groups+=(fetch); fi
  install_packages "${groups[@]}"
  tools/fetch page "$deps/page"
  if [[ -n $needs_duckdb ]]; then tools/fetch duckdb "$deps/duckdb"; fi
}

# A browser for the tests of reports, and what they drive it with.
set_up_browser() {
  install_packages browser fetch
  tools/fetch browser "$deps/browser"
}

setup() {
  set_up test
  set_up_browser
  say "ready: ./dev demo, ./dev test"
}
