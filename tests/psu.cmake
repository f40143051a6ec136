kvrn_test(battery_test battery_test.cpp)
kvrn_test(psu_test psu_test.cpp)
target_compile_definitions(psu_test PRIVATE KVRN_GOLDEN="${CMAKE_CURRENT_SOURCE_DIR}/golden")
