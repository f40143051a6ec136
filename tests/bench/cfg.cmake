# The peers: inih and GLib's key files. No device is needed, and its hooks would add to every side's opening of files.
pkg_check_modules(INIH REQUIRED IMPORTED_TARGET inih)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
add_executable(bench_cfg cfg_bench.cpp)
target_link_libraries(bench_cfg PRIVATE kvrn kvrn_inside kvrn_flags benchmark::benchmark PkgConfig::INIH PkgConfig::GLIB)
