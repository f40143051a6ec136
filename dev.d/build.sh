# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by dev. Configures and builds a preset in build/PRESET.

jobs=$(nproc)

# build_tools: what a user runs, without the tests, which need more packages.
configure_options=()
build_tools() {
  configure_options=(-DKVRN_TESTS=OFF)
  build native kvrn kvrn_sim kvrn-sim kvrnctl kvrn-monitord kvrn-agentd
}

# build PRESET [TARGET...]
build() {
  local preset=$1 log
  shift
  log=build/$preset.log
  # Checked by hand: when a redirection fails, bash skips the command and "if !" goes on as if it had succeeded.
  { mkdir -p build && : >>"$log"; } 2>/dev/null ||
    die "cannot write $PWD/$log: another user has built this checkout; remove or chown its folder build"
  if ! { cmake --preset "$preset" "${configure_options[@]}" && cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"}; } >"$log" 2>&1; then
    { grep -E -A4 'error|Error|undefined' "$log" || tail -n 20 "$log"; } | head -n 60 >&2 || true
    die "building '$preset' failed: $log"
  fi
  ! grep -E 'warning:' "$log" || say "(warnings above)"
}

# run_tests PRESET: ctest's own summary comes last.
run_tests() { ctest --preset "$1" -j "$jobs" --progress; }
