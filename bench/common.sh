# What the parts of bench/run share; each sources it first, with its arguments BUILD_DIR DATA_DIR.
# A part prints what came out and ends with `exit "$status"`: 1 when a limit is not kept or a result
# is wrong, 2 when something could not be run.
# QVREG_BENCH_REPEATS sets how often whole runs are repeated (9, of the logistic model 3).
set -euo pipefail
export LC_ALL=C  # Decimal points, whatever the user's language.
# What is compared runs on one core, and the processor seconds of its steps are compared: what else
# the machine does changes those least.
export OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1

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

median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

# value NAME FILE: what a program printed behind NAME; of a step, its processor seconds.
value() {
  awk -v name="  $1 " 'index($0, name) == 1 {
    $0 = substr($0, length(name) + 1)
    print($2 == "s" ? $3 : $NF)
  }' "$2"
}

# runner NAME STEP COMMAND...: names a command, and its step that is compared.
declare -A steps commands
runner() {
  steps[$1]=$2
  commands[$1]=$(printf '%q ' "${@:3}")
}

# turn NAME: runs a command once. What it printed stays in $scratch/NAME if none of its turns before
# spent less on the step.
turn() {
  local out=$scratch/turn words
  eval "words=(${commands[$1]})"
  if ! "$programs/bench_measure" "${words[@]}" >"$out" 2>"$scratch/measured"; then
    echo "  not run: ${words[*]}" >&2
    cat "$out" "$scratch/measured" >&2
    at_least 2
    return 1
  fi
  sed -i 's/\r$//' "$out"
  tail -n 1 "$scratch/measured" | sed 's/^/  as a whole             /' >>"$out"
  if [[ ! -s $scratch/$1 ]] || awk -v a="$(value "${steps[$1]}" "$out")" \
    -v b="$(value "${steps[$1]}" "$scratch/$1")" 'BEGIN { exit !(a < b) }'; then
    mv "$out" "$scratch/$1"
  fi
}

# take_turns TIMES NAME...: runs the commands in turns and prints the best turn of each; fails when
# one could not be run.
take_turns() {
  local times=$1 time name
  shift
  for name; do rm -f "$scratch/$name"; done
  for ((time = 1; time <= times; ++time)); do
    for name; do turn "$name" || return 1; done
  done
  for name; do
    echo "$name (best of $times)"
    cat "$scratch/$name"
  done
}

# at_most LIMIT NAME STEP PEER STEP: whether the step of the one took at most LIMIT times that of the
# other, in processor seconds of their best turns.
at_most() {
  local ours theirs
  ours=$(value "$3" "$scratch/$2")
  theirs=$(value "$5" "$scratch/$4")
  kept "$2, $3 ($ours s cpu) over $4, $5 ($theirs s cpu)" \
    "$(awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "%.4f", (b > 0 ? a / b : 0) }')" "$1"
}

# agree NAME PEER WHAT TOLERANCE: whether both printed the same number behind WHAT.
agree() {
  local ours theirs
  ours=$(value "$3" "$scratch/$1")
  theirs=$(value "$3" "$scratch/$2")
  if awk -v a="$ours" -v b="$theirs" -v tolerance="$4" \
    'BEGIN { exit !(a != 0 && b != 0 && (a - b) ^ 2 <= (tolerance * a) ^ 2) }'; then
    echo "  the ${3}s of $1 and $2 agree to $4"
  else
    echo "  WRONG: the $3 of $1 is $ours, that of $2 $theirs (tolerance $4)"
    at_least 1
  fi
}

# roofline NAME ROWS PRODUCTS BYTES: what a row cost beside the multiply-adds and the bytes that its
# passes cannot do without.
roofline() {
  local step=${steps[$1]}
  awk -v name="$1, $step" -v seconds="$(value "$step" "$scratch/$1")" -v rows="$2" \
    -v products="$3" -v bytes="$4" 'BEGIN {
      ns = seconds * 1e9 / rows
      printf "  roofline, %s: %.1f ns a row, %.0f multiply-adds (%.2f a ns), %.0f bytes (%.2f a ns)\n",
        name, ns, products, products / ns, bytes, bytes / ns
    }'
}
