# The sensor summary, and the module as a host drives it.
kvrn_test(sensors_test sensors_test.cpp)
kvrn_test(snmp_test snmp_test.cpp ${PROJECT_SOURCE_DIR}/snmp/object.cpp)
target_compile_definitions(snmp_test PRIVATE KVRN_GOLDEN="${CMAKE_CURRENT_SOURCE_DIR}/golden")
