need_packages "${packages_build[@]}" clang
need_packages "libclang-rt-$(clang -dumpversion | cut -d. -f1)-dev"
build fuzz
seconds=${1:-60}
for program in build/fuzz/bin/fuzz_*; do
  name=$(basename "$program")
  step "$name, $seconds s"
  mkdir -p "build/fuzz/corpus/$name"
  "$program" -max_total_time="$seconds" -print_final_stats=1 "build/fuzz/corpus/$name" "tests/fuzz/seeds/$name"
done
