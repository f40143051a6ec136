# Sourced by dev. Configures and builds a preset in build/PRESET.

jobs=$(nproc)

# build PRESET [TARGET...]
build() {
  local preset=$1 log
  shift
  log=build/$preset.log
  mkdir -p build
  if ! { cmake --preset "$preset" && cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"}; } >"$log" 2>&1; then
    grep -E -A4 'error|Error|undefined' "$log" | head -60 >&2
    die "building '$preset' failed: $log"
  fi
  ! grep -E 'warning:' "$log" || say "(warnings above)"
}

# run_tests PRESET: ctest's own summary comes last.
run_tests() { ctest --preset "$1" -j "$jobs" --progress; }
