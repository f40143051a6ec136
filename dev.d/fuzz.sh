# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
seconds=${1:-60}
expect_number "$seconds"
[[ -f tests/fuzz/CMakeLists.txt ]] || die "there are no fuzz targets in tests/fuzz"
need_packages "${packages_build[@]}" clang
need_packages "libclang-rt-$(clang -dumpversion | cut -d. -f1)-dev"
build fuzz
for program in build/fuzz/bin/fuzz_*; do
  name=$(basename "$program")
  step "$name, $seconds s"
  corpora=("build/fuzz/corpus/$name")
  mkdir -p "${corpora[0]}"
  [[ ! -d tests/fuzz/seeds/$name ]] || corpora+=("tests/fuzz/seeds/$name")
  "$program" -max_total_time="$seconds" -print_final_stats=1 "${corpora[@]}"
done
