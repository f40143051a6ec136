need_packages "${packages_build[@]}" "${packages_test[@]}"
timed "Build (native)" build native
run_tests native
