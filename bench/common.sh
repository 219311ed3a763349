# What the parts of bench/run share; each sources it first, with its arguments BUILD_DIR DATA_DIR.
# A part prints what came out and ends with `exit "$status"`: 1 when a limit is not kept or a result
# is wrong, 2 when something could not be run.
# QVREG_BENCH_REPEATS sets how often whole runs are repeated (9; an odd number).
set -euo pipefail
export LC_ALL=C  # Decimal points, whatever the user's language.

if [[ $# -ne 2 || ! -d $1 || ! -d $2 ]]; then
  echo "usage: $0 BUILD_DIR DATA_DIR" >&2
  echo "BUILD_DIR is a Release build with QVREG_BUILD_BENCH, DATA_DIR holds flights-3m.parquet." >&2
  exit 2
fi
readonly programs=$1/bench
sources=$(dirname "${BASH_SOURCE[0]}")
readonly sources
readonly repeats=${QVREG_BENCH_REPEATS:-9}

scratch=$(mktemp -d)
readonly scratch
trap 'rm -rf "$scratch"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
status=0

heading() { printf '\n== %s\n' "$*"; }
at_least() { if [[ $status -lt $1 ]]; then status=$1; fi; }

# kept WHAT VALUE LIMIT: says whether VALUE is at most LIMIT.
kept() {
  if awk -v value="$2" -v limit="$3" \
    'BEGIN { exit !(value + 0 > 0 && value + 0 <= limit + 0) }'; then
    echo "  $1: $2, within the limit of $3"
  else
    echo "  $1: $2, ABOVE the limit of $3"
    at_least 1
  fi
}

# whole_run_seconds FILE: wall and processor seconds of the line that a program prints last.
whole_run_seconds() { awk '$1 == "whole" && $2 == "run" { print $3, $5 }' "$1"; }
median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
