# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by dev.

say() { printf '%s\n' "$*"; }
step() { printf '\n== %s\n' "$*"; }
die() {
  printf 'dev: %s\n' "$*" >&2
  exit 1
}
# die_usage TEXT: what the user asked for does not exist.
die_usage() {
  printf 'dev: %s\n' "$*" >&2
  exit 2
}

# tracked PATTERN...: the files of this checkout, whoever owns it.
tracked() { git -c safe.directory='*' ls-files -- "$@"; }

# timed LABEL COMMAND...: runs a step and remembers how long it took.
timings=()
timed() {
  local label=$1 start=$SECONDS
  shift
  step "$label"
  "$@"
  timings+=("$(printf '%5d s  %s' $((SECONDS - start)) "$label")")
  say "-- $label: $((SECONDS - start)) s"
}
print_timings() {
  step "Time"
  printf '%s\n' "${timings[@]}"
}
