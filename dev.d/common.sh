# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by dev.

say() { printf '%s\n' "$*"; }
step() { printf '\n== %s\n' "$*"; }
die() {
  printf 'dev: %s\n' "$*" >&2
  exit 1
}
# die_usage TEXT: exits with 2, for a wrong argument.
die_usage() {
  printf 'dev: %s\n' "$*" >&2
  exit 2
}

# expect_number TEXT: exits unless TEXT is a whole number above 0. Call it before anything is built.
expect_number() { [[ $1 =~ ^[1-9][0-9]*$ ]] || die_usage "'$1' is no whole number above 0"; }

# tracked PATTERN...: lists the files that git tracks, even when another user owns this checkout.
tracked() { git -c safe.directory='*' ls-files -- "$@"; }

# names KIND: lists the names that "./dev KIND" accepts. Each is a function KIND_NAME in dev.d/KIND.sh.
names() { sed -n "s/^$1_\([a-z]*\)() {.*/\1/p" "dev.d/$1.sh" | paste -sd ' '; }
# known KIND NAME: exits unless "./dev KIND" accepts NAME.
known() {
  local name
  for name in $(names "$1"); do
    [[ $name != "$2" ]] || return 0
  done
  die_usage "no $1 '$2': $(names "$1")"
}

# apart COMMAND...: runs a function in a shell of its own, which ends at the first failed command. In the background,
# because bash goes on after failures in what stands before "||". A signal that ends this shell ends that one too.
apart() {
  local job status=0
  (set -euo pipefail && "$@") </dev/null &
  job=$!
  trap 'kill "$job"; wait; exit 143' INT TERM HUP
  wait "$job" || status=$?
  trap - INT TERM HUP
  return "$status"
}

# recipe LOG WHAT COMMAND...: runs a function apart; its words go into a file.
recipe() {
  local log=$1 what=$2
  shift 2
  mkdir -p "$(dirname "$log")"
  apart "$@" >"$log" 2>&1 || die "$what failed: $log"
}

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
