# shellcheck shell=bash
# What reads sources and documents: clang-format, clang-tidy, Doxygen, the site.
# A part of ./dev, which reads all parts.

# The sources that clang-tidy reads, as a regular expression of paths: all, or with `changed` those
# that the last four hours of commits changed, of which uncommitted changes are part.
tidied() {
  local all="^$root/(qvreg|host)/" base files
  if [[ $1 != changed ]]; then
    echo "$all"
    return
  fi
  base=$(git rev-list -1 --before="$(($(git log -1 --format=%ct) - 14400))" HEAD)
  if [[ -z $base ]]; then
    echo "$all"
    return
  fi
  mapfile -t files < <(git diff --name-only --diff-filter=d "$base" -- 'qvreg/*.cpp' 'host/*.cpp')
  echo "^$root/($(IFS='|'; echo "${files[*]//./\\.}"))\$"
}

# lint [WHAT]: the layout of all sources, and clang-tidy unless it is the layout alone that is asked for.
lint() {
  local what=${1:-all}
  if [[ $what == format ]]; then install_packages lint; else set_up test lint; fi
  local sources
  mapfile -t sources < <(git ls-files -co --exclude-standard -- '*.h' '*.c' '*.cpp' |
    while read -r file; do if [[ -f $file ]]; then echo "$file"; fi; done)
  [[ ${#sources[@]} -gt 0 ]] || fail "git lists no sources here." "Run this in a clone."
  local unclean=()
  say "clang-format on ${#sources[@]} files"
  clang-format --dry-run --Werror "${sources[@]}" || unclean+=(clang-format)

  local log=build/release/clang-tidy.log
  if [[ $what != format ]]; then tidy "$what" "$log" || unclean+=(clang-tidy); fi
  [[ ${#unclean[@]} -eq 0 ]] ||
    fail "not clean: ${unclean[*]} (the findings are above; clang-tidy's also in $log)." \
         "clang-format -i FILE mends the layout; a finding of clang-tidy that is wrong gets a
     NOLINT with the check's name and the reason."
  local tidy_sources=
  if [[ $what != format ]]; then
    tidy_sources=", clang-tidy on $(grep -c '^clang-tidy.*\.cpp$' "$log" || true) sources"
  fi
  say "lint is clean: clang-format on ${#sources[@]} files$tidy_sources"
}

# tidy WHAT LOG: clang-tidy on these sources; its findings are printed.
tidy() {
  local what=$1 log=$2 paths
  # Apart and never built: where sources are joined, they have no compile commands of their own.
  say "configuring build/lint"
  quietly build/lint/configure.log cmake --preset release -B build/lint -DQVREG_WARNINGS_AS_ERRORS=ON \
    -DQVREG_UNITY=OFF "${everything[@]}" ||
    fail "CMake could not configure (all it said: build/lint/configure.log)." "Remove build/lint and run this again."
  paths=$(tidied "$what") || return
  say "clang-tidy on the $what sources of qvreg/ and host/"
  # The static analyzer takes half of the time, and is left to the run on all sources.
  local checks=()
  if [[ $what == changed ]]; then checks=("-checks=-clang-analyzer-*"); fi
  # The compile commands are GCC's, and it has warnings and parameters that clang does not know.
  run-clang-tidy -quiet -j 2 -p build/lint -extra-arg=-Wno-unknown-warning-option \
    -extra-arg=-Wno-unused-command-line-argument \
    "${checks[@]}" "$paths" >"$log" 2>&1 || {
    grep -vE '^clang-tidy|^[0-9]+ warnings|^Suppressed|^Use -' "$log" >&2
    return 1
  }
}

# The API documents, and the test that they explain everything that a package installs; and the site
# of all documents, whose links are followed. docs api makes the first alone, which needs no program.
docs() {
  set_up test docs
  configure release "${everything[@]}" -DQVREG_BUILD_DOCS=ON
  if [[ ${1:-} == api ]]; then
    compile release --target qvreg_docs
    return
  fi
  compile release --target qvreg_site
  say "documents: build/release/docs/site/index.html (searchable where a server shows them:" \
      "python3 -m http.server --directory build/release/docs/site)"
  say "API documents: build/release/docs/html/index.html"
}
