# The sensor summary, and the module as a host drives it.
kvrn_test(sensors_test sensors_test.cpp)
kvrn_inside_test(snmp_test snmp_test.cpp)
target_compile_definitions(snmp_test PRIVATE KVRN_GOLDEN="${CMAKE_CURRENT_SOURCE_DIR}/golden")
