source dev.d/mips.sh

check_format() {
  git ls-files '*.cpp' '*.hpp' '*.h' '*.inc' | xargs clang-format --dry-run -Werror
  say "every file is formatted"
}

check_tidy() {
  git ls-files 'board/*.cpp' 'hw/*.cpp' 'cfg/*.cpp' 'psu/*.cpp' 'battery/*.cpp' 'cache/*.cpp' 'status/*.cpp' \
    'snmp/*.cpp' 'util/*.cpp' 'tools/*.cpp' |
    xargs -P "$jobs" -n 4 clang-tidy -p build/clang --quiet 2>/dev/null
  say "clang-tidy has nothing to say"
}

check_asan() {
  build asan
  run_tests asan
}

check_mips() {
  build_mips
  run_tests mips
}

need_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_check[@]}" "${packages_cross[@]}"
timed "Format" check_format
timed "Layers" python3 dev.d/layers.py
timed "Clang build" build clang
timed "clang-tidy" check_tidy
timed "ASan + UBSan" check_asan
timed "Big-endian MIPS under qemu" check_mips
print_timings
