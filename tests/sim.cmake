# The simulated device itself, through the real libgpiod and plain ioctls.
kvrn_test(sim_test sim_test.cpp)
target_link_libraries(sim_test PRIVATE PkgConfig::GPIOD)

# The command, with the machine's own programs on the device.
if(TARGET kvrn-sim AND NOT CMAKE_CROSSCOMPILING)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  add_test(NAME kvrn-sim COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/sim_test.py)
  set_tests_properties(kvrn-sim PROPERTIES TIMEOUT 180
    ENVIRONMENT "KVRN_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY};KVRN_HOOKS=$<TARGET_FILE:kvrn_sim>")
endif()
