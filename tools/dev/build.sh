# shellcheck shell=bash
# Configuring and building, and the first fits of a newcomer.
# A part of ./dev, which reads all parts.

readonly everything=(-DQVREG_BUILD_HOST=ON -DQVREG_BUILD_TESTS=ON -DQVREG_BUILD_EXAMPLES=ON)

# configure PRESET OPTION...
configure() {
  local preset=$1
  shift
  # GCC's memory is collected less often than by itself, which takes some of the time off. Clang has
  # no such parameters.
  if [[ $preset != asan && $preset != fuzz ]] && "${CXX:-c++}" --version 2>&1 | grep -q 'Free Software Foundation'; then
    local -x CXXFLAGS="${CXXFLAGS:-} --param ggc-min-expand=400 --param ggc-min-heapsize=524288"
  fi
  say "configuring build/$preset"
  quietly "build/$preset/configure.log" cmake --preset "$preset" -DQVREG_WARNINGS_AS_ERRORS=ON \
    -DQVREG_UNITY="${QVREG_UNITY:-OFF}" "$@" ||
    fail "CMake could not configure (all it said: build/$preset/configure.log)." \
         "If it names an old build, remove build/$preset and run this again."
}

configure_all() {
  local preset=$1 bench=OFF
  if [[ $preset == release ]]; then bench=ON; fi
  configure "$preset" "${everything[@]}" -DQVREG_BUILD_BENCH=$bench
}

# compile PRESET OPTION...
compile() {
  local preset=$1
  shift
  say "building build/$preset"
  cmake --build --preset "$preset" --parallel "$(nproc)" "$@" ||
    fail "the build of build/$preset failed (the compiler's words are above)." \
         "Mend the source, or remove build/$preset if it was made by another version."
}

known_preset() {
  case $1 in
    debug | release | asan | tsan | coverage) ;;
    *) fail "there is no preset '$1'." "Choose debug, release, asan, tsan or coverage." ;;
  esac
}

build() {
  local preset=${1:-release} needs=(test)
  known_preset "$preset"
  if [[ $preset == asan ]]; then needs+=(asan); fi
  set_up "${needs[@]}"
  if [[ $preset == release ]]; then set_up_browser; fi
  configure_all "$preset"
  compile "$preset"
}

# Only the command is built, so that a newcomer waits for neither the tests nor their libraries.
demo() {
  set_up
  if [[ ! -f build/release/build.ninja ]]; then
    configure release -DQVREG_BUILD_TESTS=OFF -DQVREG_BUILD_BENCH=OFF -DQVREG_BUILD_EXAMPLES=OFF
  fi
  compile release --target qvreg_command
  mkdir -p build/release/demo
  show_fit linear examples/data/penguins.csv "body_mass ~ species*sex + flipper_length"
  show_fit logistic examples/data/cars.csv "origin ~ displacement + horsepower"
  printf '\n'
  say "open in a browser: build/release/demo/linear.html, build/release/demo/logistic.html"
}

# show_fit NAME TABLE FORMULA: prints the command and what it says, and makes a report of that name.
show_fit() {
  local command=(build/release/bin/qvreg fit --data "$2" --formula "$3"
                 --report "build/release/demo/$1.html")
  printf '\n$ %s %s %s %s %s "%s" %s %s\n\n' "${command[@]}"
  "${command[@]}"
}
