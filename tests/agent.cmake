# The sub-agent under a real snmpd.
if(TARGET kvrn-agentd AND TARGET kvrn-sim AND NOT CMAKE_CROSSCOMPILING)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  # Modules of the tests' own: a right one, one of another size, one with a word that is not zero.
  foreach(shape trial trial_size trial_word)
    add_library(${shape}_module MODULE trial_module.c)
    target_link_libraries(${shape}_module PRIVATE kvrn_flags)
  endforeach()
  target_compile_definitions(trial_module PRIVATE TRIAL_WORD=0)
  target_compile_definitions(trial_size_module PRIVATE TRIAL_SIZE)
  target_compile_definitions(trial_word_module PRIVATE TRIAL_WORD=1)
  add_test(NAME kvrn_agentd COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/kvrn_agentd_test.py)
  # Alone: it times how soon the agent is back.
  set_tests_properties(kvrn_agentd PROPERTIES TIMEOUT 180 RUN_SERIAL ON
    ENVIRONMENT "KVRN_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY};KVRN_LIB=${CMAKE_LIBRARY_OUTPUT_DIRECTORY};KVRN_SOURCE=${PROJECT_SOURCE_DIR};KVRN_SANITIZE=${KVRN_SANITIZE}")
endif()
