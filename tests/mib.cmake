# The MIB module, as the readers of such modules see it.
if(NOT CMAKE_CROSSCOMPILING AND NOT KVRN_SANITIZE)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  add_test(NAME mib COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/mib_test.py)
  set_tests_properties(mib PROPERTIES TIMEOUT 60 ENVIRONMENT "KVRN_SOURCE=${PROJECT_SOURCE_DIR}")
endif()
