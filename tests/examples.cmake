# The examples, run on simulated devices; the documents quote them.
if(KVRN_EXAMPLES AND TARGET kvrn-sim AND NOT CMAKE_CROSSCOMPILING AND NOT KVRN_SANITIZE)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  add_test(NAME examples COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/examples_test.py)
  set_tests_properties(examples PROPERTIES TIMEOUT 120 ENVIRONMENT
    "PATH=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}:$ENV{PATH};KVRN_EXAMPLES=${CMAKE_BINARY_DIR}/examples;KVRN_SOURCE=${PROJECT_SOURCE_DIR}")
endif()
