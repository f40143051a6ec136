kvrn_bench(bench_psu psu_bench.cpp)
