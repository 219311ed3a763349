# shellcheck shell=bash
# The fuzzers of fuzz/.
# A part of ./dev, which reads all parts.

# The longest input that is worth a mutation, in bytes.
longest_input() {
  case $1 in
    models) echo 700 ;;
    calls) echo 400 ;;
    *) echo 300 ;;
  esac
}

# fuzz_one TARGET SECONDS SEED: runs its corpus, and then as long as it says. New inputs are kept beside
# the build, and what ends the process in a folder of findings.
fuzz_one() {
  local target=$1 seconds=$2 seed=$3 status=0
  local found=build/fuzz/findings/$target kept=build/fuzz/corpus/$target log=build/fuzz/$target.log
  mkdir -p "$found" "$kept"
  local options=(-seed="$seed" -max_total_time="$seconds" -max_len="$(longest_input "$target")" -len_control=0 -entropic=0
                 -reload=0 -timeout=120 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$found/")
  if [[ -f fuzz/$target.dict ]]; then options+=(-dict="fuzz/$target.dict"); fi
  "build/fuzz/bin/fuzz_$target" "${options[@]}" "$kept" "fuzz/corpus/$target" >"$log" 2>&1 </dev/null || status=$?
  if [[ $status -ne 0 ]]; then
    grep -vE '^(#|"|INFO)' "$log" | tail -n 60 >&2
    fail "$target found something (all that was said: $log)." \
         "Again: build/fuzz/bin/fuzz_$target $found/NAME, the file that is named above. It gets a test,
     a mend, and a place in fuzz/corpus/$target."
  fi
  say "$target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") runs," \
      "$(grep -oE 'cov: [0-9]+' "$log" | tail -n 1 | cut -d ' ' -f 2) edges"
}

# await_fuzzers: the `running` ones; notes in `failed` whether one found something.
await_fuzzers() {
  local fuzzer
  for fuzzer in "${running[@]}"; do wait "$fuzzer" || failed=yes; done
  running=()
}

# fuzz [TARGET] [SECONDS] [seed=NUMBER]: all targets, or one, a minute each unless told.
fuzz() {
  local seconds=60 seed=$((1 + SRANDOM % 1000000000)) targets=() target
  for target in fuzz/corpus/*/; do targets+=("$(basename "$target")"); done
  for target in "$@"; do
    if [[ $target =~ ^[0-9]+$ ]]; then
      seconds=$target
    elif [[ $target =~ ^seed=[1-9][0-9]{0,8}$ ]]; then
      seed=${target#seed=}
    elif [[ -d fuzz/corpus/$target ]]; then
      targets=("$target")
    else
      fail "there is no fuzzer '$target'." "Choose one of ${targets[*]}."
    fi
  done
  set_up asan
  configure fuzz
  compile fuzz --target "${targets[@]/#/fuzz_}"
  watch_closely
  say "fuzzing with seed=$seed"
  # One a processor at a time, each with its children apart, so that an interrupt ends them.
  set -m
  local running=() failed=
  trap 'if [[ ${#running[@]} -gt 0 ]]; then kill -- "${running[@]/#/-}" 2>/dev/null; fi' EXIT
  for target in "${targets[@]}"; do
    fuzz_one "$target" "$seconds" "$seed" &
    running+=($!)
    if [[ ${#running[@]} -eq $(nproc) ]]; then await_fuzzers; fi
  done
  await_fuzzers
  trap - EXIT
  [[ -z $failed ]] || exit 1
  say "fuzzed without a finding: ${targets[*]}, $seconds seconds each, seed=$seed"
}
