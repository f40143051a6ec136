# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
source dev.d/mips.sh

check_format() {
  tracked '*.cpp' '*.hpp' '*.h' '*.c' '*.inc' | xargs clang-format --dry-run -Werror
  say "every file is formatted"
}

check_scripts() {
  shellcheck -x dev dev.d/*.sh .ci/run
  say "shellcheck has nothing to say"
}

check_tidy() {
  tracked 'board/*.cpp' 'hw/*.cpp' 'cfg/*.cpp' 'psu/*.cpp' 'battery/*.cpp' 'cache/*.cpp' 'status/*.cpp' \
    'snmp/*.cpp' 'util/*.cpp' 'tools/*.cpp' |
    xargs -P "$jobs" -n 2 clang-tidy -p build/clang --quiet 2>build/tidy.log || {
    grep -v 'warnings.* generated' build/tidy.log >&2
    return 1
  }
  say "clang-tidy has nothing to say"
}

check_asan() {
  build asan
  run_tests asan
}

check_mips() {
  build_mips
  python3 dev.d/size.py build/mips/lib/libkvrn.so.1
  run_tests mips
}

need_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_check[@]}" "${packages_cross[@]}"
timed "Format" check_format
timed "Scripts" check_scripts
timed "Layers" python3 dev.d/layers.py
timed "Clang build" build clang
timed "clang-tidy" check_tidy
timed "ASan + UBSan" check_asan
timed "Big-endian MIPS under qemu" check_mips
print_timings
