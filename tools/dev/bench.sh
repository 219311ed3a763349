# shellcheck shell=bash
# What is measured: speed, beside other programs and other commits, and limits.
# A part of ./dev, which reads all parts.

readonly compared=(bench_whole_run bench_logistic_run bench_make_records bench_make_class_records bench_measure)

bench() {
  set_up test bench fetch
  tools/fetch tables "$deps/vega-datasets"
  configure_all release
  compile release
  bench/run build/release "$deps/vega-datasets"
}

# speed [COMMIT]: this tree's library beside that of a commit, of a day before HEAD if none is named.
speed() {
  set_up test
  local base=${1:-} work=$root/build/base
  if [[ -z $base ]]; then
    base=$(git rev-list -1 --before="$(($(git log -1 --format=%ct) - 86400))" HEAD)
    [[ -n $base ]] || base=$(git rev-list --max-parents=0 HEAD | tail -n 1)
  fi
  base=$(git rev-parse --verify --quiet "$base^{commit}") ||
    fail "there is no commit '$1'." "Name one of 'git log'."
  # Anew: what is unpacked is as old as the commit, and would not be built over what another left.
  rm -rf "$work"
  mkdir -p "$work/tree"
  git archive "$base" | tar -x -C "$work/tree"
  say "building $(git log -1 --format='%h, %s' "$base") in build/base"
  quietly "$work/build.log" build_base "$work" ||
    fail "the base could not be built (all that was said: $work/build.log)." \
         "Its last lines are above; name another commit."
  configure_all release
  compile release --target "${compared[@]}"
  bench/run_compared build/release "$work/release"
}

build_base() {
  cmake -S "$1/tree" -B "$1/release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQVREG_BUILD_BENCH=ON \
    -DQVREG_BUILD_HOST=OFF -DQVREG_BUILD_TESTS=OFF -DQVREG_BUILD_EXAMPLES=OFF &&
    cmake --build "$1/release" --parallel "$(nproc)" --target "${compared[@]}"
}

# What happens at limits of size and time: more records than an int counts, a million levels, and so on.
# What follows goes to bench/limits.
limits() {
  set_up test bench
  configure_all release
  compile release --target qvreg qvreg_command bench_limits_run bench_soak_run bench_measure
  bench/limits build/release "${TMPDIR:-/tmp}" "$@"
}
