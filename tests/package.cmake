# What a packager and a linker see of the library; of a cross-built one, what can be seen without running it.
if(NOT KVRN_SANITIZE)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  set(package_environment "KVRN_BUILD=${CMAKE_BINARY_DIR};KVRN_SOURCE=${PROJECT_SOURCE_DIR};GPIOD=${GPIOD_LIBDIR}"
    "CC=${CMAKE_C_COMPILER};CXX=${CMAKE_CXX_COMPILER};NM=${CMAKE_NM};READELF=${CMAKE_READELF}")
  if(CMAKE_CROSSCOMPILING)
    set(package_cases Linking Hooks Headers)
    list(APPEND package_environment KVRN_CROSS=1)
  else()
    add_executable(name_clash package/name_clash.c)
    set_target_properties(name_clash PROPERTIES ENABLE_EXPORTS ON)
    target_link_libraries(name_clash PRIVATE kvrn kvrn_flags)
  endif()
  add_test(NAME package
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/package_test.py ${package_cases})
  set_tests_properties(package PROPERTIES TIMEOUT 300 ENVIRONMENT "${package_environment}")
endif()
