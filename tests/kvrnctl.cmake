# The command line tool as a user runs it: the unmodified programs under the simulated device.
if(TARGET kvrnctl AND TARGET kvrn-sim AND NOT CMAKE_CROSSCOMPILING AND NOT KVRN_SANITIZE)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  foreach(name kvrnctl kvrnctl_cfg)
    add_test(NAME ${name} COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/${name}_test.py)
    set_tests_properties(${name} PROPERTIES TIMEOUT 180
      ENVIRONMENT "KVRN_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY};KVRN_SOURCE=${PROJECT_SOURCE_DIR}")
  endforeach()
endif()
