# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by dev. Configures and builds a preset in build/PRESET.

jobs=$(nproc)

# build_tools: builds everything except the tests, which need more packages.
configure_options=()
build_tools() {
  configure_options=(-DKVRN_TESTS=OFF -DKVRN_EXAMPLES=OFF)
  build native
}

# progress: reads a build's log and shows how far the build is. On a terminal it updates the last line. Without a
# terminal it prints a line every ten seconds.
progress() {
  local line shown=$SECONDS columns
  columns=$(tput cols 2>/dev/null) || columns=80
  while IFS= read -r line; do
    [[ $line == '['* || $line == '-- '* ]] || continue
    if [[ -t 1 ]]; then
      printf '\r\033[K%.*s' "$((columns - 1))" "$line"
    elif ((SECONDS - shown >= 10)); then
      say "$line"
      shown=$SECONDS
    fi
  done
  [[ ! -t 1 ]] || printf '\r\033[K'
}

# build PRESET [TARGET...]
build() {
  local preset=$1 log
  shift
  log=build/$preset.log
  # Check the log file first: when a redirection fails, bash skips the command, and "if !" treats this as success.
  { mkdir -p build && : >>"$log"; } 2>/dev/null ||
    die "cannot write $PWD/$log: another user has built this checkout; remove or chown its folder build"
  if ! { cmake --preset "$preset" "${configure_options[@]}" && cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"}; } 2>&1 | tee "$log" | progress; then
    { grep -E -A4 'error|Error|undefined' "$log" || tail -n 20 "$log"; } | head -n 60 >&2 || true
    die "building '$preset' failed: $log"
  fi
  ! grep -E 'warning:' "$log" || say "(warnings above)"
}

# run_tests PRESET [OPTION...]: runs ctest, which prints a summary at the end. Half a processor counts as one, because
# some tests mostly wait (tests/CMakeLists.txt).
run_tests() { ctest --preset "$1" -j $((2 * jobs)) --progress --no-tests=error "${@:2}"; }
