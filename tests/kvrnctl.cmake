# The command line tool as a user runs it: the unmodified programs under the simulated device.
if(TARGET kvrnctl AND TARGET kvrn-sim AND NOT CMAKE_CROSSCOMPILING AND NOT KVRN_SANITIZE)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  add_test(NAME kvrnctl COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/kvrnctl_test.py)
  set_tests_properties(kvrnctl PROPERTIES TIMEOUT 180
    ENVIRONMENT "KVRN_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY};KVRN_SOURCE=${PROJECT_SOURCE_DIR}")
endif()
