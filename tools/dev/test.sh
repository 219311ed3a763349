# shellcheck shell=bash
# The tests: as people run them, with the sanitizers, as built for Windows, and what takes hours.
# A part of ./dev, which reads all parts.

# Sanitized programs stop at the first finding. Short stacks of allocations and a small quarantine
# take a quarter off the time of programs that allocate as much as DuckDB does.
watch_closely() {
  export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1
  ASAN_OPTIONS+=:malloc_context_size=5:quarantine_size_mb=16
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
}

# run_ctest PRESET RUNNER ARGUMENT...: the tests of a build, and how many there were. RUNNER may be
# empty. A test program runs whole, so that ctest counts programs.
run_ctest() {
  local preset=$1 runner=$2 status=0
  shift 2
  # shellcheck disable=SC2086
  $runner ctest --preset "$preset" --no-tests=error --parallel "$(nproc)" "$@" </dev/null || status=$?
  awk '/^\[=+\] [0-9]+ tests? from .* ran\./ { tests += $2 }
       END { printf "dev: the programs of GoogleTest ran %d tests\n", tests }' \
    "build/$preset/Testing/Temporary/LastTest.log"
  return $status
}

# Release is what people run, and what ./dev demo has built already. The sanitizers' build
# (./dev test asan) keeps debugging information and is the one that looks for misuse.
run_tests() {
  local preset=release
  if [[ $# -gt 0 && $1 != -* ]]; then
    preset=$1
    shift
  fi
  known_preset "$preset"
  if [[ $preset == asan ]]; then watch_closely; fi
  build "$preset"
  run_ctest "$preset" "" "$@"
}

# Cross-builds the library, its tests and the examples, and runs them under Wine, whose Windows is
# kept in the build folder. What follows goes to ctest.
windows() {
  set_up test windows
  local native=$root/build/release/reference-fits.txt
  configure_all release
  compile release --target qvreg_reference_fits
  build/release/bin/qvreg_reference_fits write "$native" ||
    fail "the reference fits of this system's own build could not be written." \
         "The sentence above says why; then run this again."

  export WINEPREFIX=$root/build/windows/wine
  configure windows -DQVREG_BUILD_TESTS=ON -DQVREG_BUILD_EXAMPLES=ON \
    -DQVREG_NATIVE_FITS="$native"
  compile windows
  run_ctest windows tools/with-wine-server "$@"
}

# What tests reach of the library and the command. Other tests than these look at what is built, or run
# in other processes what these run.
coverage() {
  local work=$root/build/coverage status=0 programs=(qvreg_tests qvreg_parallel_tests qvhost_tests)
  local -x QVREG_UNITY=${QVREG_UNITY:-ON}
  set_up test
  configure coverage -DQVREG_BUILD_HOST=ON -DQVREG_BUILD_TESTS=ON -DQVREG_BUILD_EXAMPLES=OFF
  compile coverage --target "${programs[@]}"
  # Objects of sources that are no more.
  quietly "$work/cleandead.log" ninja -C "$work" -t cleandead
  find "$work" -name '*.gcda' -delete
  rm -f "$work/counters.log"
  GCOV_ERROR_FILE=$work/counters.log run_ctest coverage "" -R "^($(IFS='|'; echo "${programs[*]}"))_[0-9]" || status=$?
  # What a process says whose counters do not fit into those of others.
  if [[ -s $work/counters.log ]]; then
    head -n 5 "$work/counters.log" >&2
    fail "counters were lost, so that the figures would be too low." "Run this again."
  fi
  tools/coverage "$work" "$work/coverage.txt" qvreg:98:90 host:95:80 || status=$?
  say "what was not reached, file by file: build/coverage/coverage.txt"
  return $status
}

# memcheck: what reads memory that nobody wrote, which the sanitizers do not see. Suites that compute for
# more than half a second, or fail thousands of allocations, would take half an hour here.
memcheck() {
  local slow=RecordBlocksOfReferenceCases.*:*CAllocation.*:QvBlock*.*:*LogisticAgreement.*:Cases/*:R/*:Exact/*
  slow+=:*RestoreReferenceFit*:*QvPatternTableTest.*:*LogisticInMemoryTest.*:QvPairSums.*:ManyRecords.*
  slow+=:*CSourceBlocksFit.*
  set_up test memcheck
  configure release -DQVREG_BUILD_TESTS=ON
  compile release --target qvreg_tests
  # The tests replace the allocator themselves, to make it fail.
  valgrind -q --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
    --soname-synonyms=somalloc=nouserintercepts \
    build/release/bin/qvreg_tests --gtest_brief=1 --gtest_filter="-$slow" ||
    fail "a test failed under valgrind, or memory was misused." "What it was stands above."
}

# Every call fails once, and every command is ended 500 times; ctest does a share of both.
faults() {
  set_up test
  configure_all release
  compile release --target qvreg_command qvreg qvreg_faults
  cmake --build --preset release --target qvreg_all_faults ||
    fail "a failure or a kill left other than what it should." "What it was stands above, with the seed."
}

# differential [TABLES] [SEED]: random tables fitted by the command, by R and some of them exactly.
differential() {
  set_up test
  if [[ ! -f build/release/build.ninja ]]; then
    configure release -DQVREG_BUILD_TESTS=OFF -DQVREG_BUILD_BENCH=OFF -DQVREG_BUILD_EXAMPLES=OFF
  fi
  compile release --target qvreg_command
  /usr/bin/python3 -B tests/differential/run.py build/release/bin/qvreg --tables "${1:-20000}" --seed "${2:-1}" ||
    fail "the command differs from R and from the exact fit where it should not." \
         "Each such table stands above by its number N; it is fitted alone with --first N --tables 1."
}

# Mutants of a folder's sources; what follows goes to tools/mutate.
mutate() {
  set_up test mutate
  tools/mutate "$@"
}

nightly() {
  lint
  run_tests asan
  run_tests debug
  memcheck
  faults
  differential 2000 "$(date +%Y%m%d)"
  coverage
  speed
}
