# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
source dev.d/mips.sh

check_format() {
  tracked '*.cpp' '*.hpp' '*.h' '*.c' '*.inc' | xargs clang-format --dry-run -Werror
  say "every file is formatted"
}

check_scripts() {
  shellcheck -x dev dev.d/*.sh examples/*.sh vm/guest/{rcS,monitor,snmp,jobs,console,rc.common} openwrt/kvrn/files/*.init \
    debian/tests/{clients,agent,examples} debian/*.post* .ci/run
  say "shellcheck has nothing to say"
}

check_layers() { python3 dev.d/layers.py; }

check_links() { python3 dev.d/links.py; }

check_manuals() {
  rm -rf build/manuals
  python3 dev.d/manuals.py build/manuals scdoc
  mandoc -Tlint -Wwarning build/manuals/man?/kvrn*[a-z].[1-8]
  local page
  for page in build/manuals/man?/kvrn*[a-z].[1-8]; do
    # man prints its warnings and succeeds.
    ! LC_ALL=C.UTF-8 MANROFFSEQ="" man --warnings -l -Tutf8 -Z "$page" 2>&1 >/dev/null | grep . || return 1
  done
  say "mandoc and man have nothing to say"
}

check_rpath() {
  build native
  python3 dev.d/rpath.py build/native/bin build/native/lib
}

check_doors() {
  build native kvrn_objects
  python3 dev.d/doors.py build/native
}

check_abi() {
  build native kvrn
  python3 dev.d/abi.py check build/native/lib/libkvrn.so native
}

check_openwrt() {
  build native
  python3 dev.d/openwrt.py build/native
}

# Nothing is built: clang-tidy shows the compiler's own warnings too. Each file is read once, though several programs may
# compile it. The largest come first: no job ends long after the others.
check_tidy() {
  mkdir -p build/tidy/once
  cmake --preset tidy >build/tidy.log
  jq 'unique_by(.file)' build/tidy/compile_commands.json >build/tidy/once/compile_commands.json
  tracked 'lib/*.cpp' 'tools/*.cpp' | xargs ls -S |
    xargs -P "$jobs" -n 1 clang-tidy -p build/tidy/once --quiet 2>build/tidy.log || {
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
  build_mips OFF
  python3 dev.d/doors.py build/mips "$mips_host-readelf"
  python3 dev.d/abi.py check build/mips/lib/libkvrn.so mips
  python3 dev.d/size.py build/mips
  run_tests mips
}

parts=("$@")
[[ $# -gt 0 ]] || read -ra parts <<<"$(names check)"
packages=("${packages_build[@]}" "${packages_test[@]}" "${packages_check[@]}")
for part in "${parts[@]}"; do
  known check "$part"
  [[ $part != mips ]] || packages+=("${packages_cross[@]}")
done
need_packages "${packages[@]}"
for part in "${parts[@]}"; do timed "$part" "check_$part"; done
print_timings
