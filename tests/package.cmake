# What a packager and a linker see of the library.
if(NOT CMAKE_CROSSCOMPILING AND NOT KVRN_SANITIZE)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  add_executable(name_clash package/name_clash.c)
  set_target_properties(name_clash PROPERTIES ENABLE_EXPORTS ON)
  target_link_libraries(name_clash PRIVATE kvrn kvrn_flags)
  add_test(NAME package COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/package_test.py)
  set_tests_properties(package PROPERTIES TIMEOUT 300 ENVIRONMENT
    "KVRN_BUILD=${CMAKE_BINARY_DIR};KVRN_SOURCE=${PROJECT_SOURCE_DIR};CC=${CMAKE_C_COMPILER};CXX=${CMAKE_CXX_COMPILER};GPIOD=${GPIOD_LIBDIR}")
endif()
