# The command line tool as a user runs it: the unmodified programs under the simulated device.
if(TARGET kvrnctl AND TARGET kvrn-sim AND NOT CMAKE_CROSSCOMPILING AND NOT KVRN_SANITIZE)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  # Debian's module is that of Debian's Python, which need not be the first one in the path.
  set(python ${Python3_EXECUTABLE})
  execute_process(COMMAND ${python} -c "import jsonschema" RESULT_VARIABLE missing OUTPUT_QUIET ERROR_QUIET)
  if(missing AND EXISTS /usr/bin/python3)
    set(python /usr/bin/python3)
    execute_process(COMMAND ${python} -c "import jsonschema" RESULT_VARIABLE missing OUTPUT_QUIET ERROR_QUIET)
  endif()
  if(missing)
    message(WARNING "no python3-jsonschema: the tests do not check kvrnctl's documents against their schema")
  endif()
  kvrn_inside_test(publisher_test publisher_test.cpp ${PROJECT_SOURCE_DIR}/tools/kvrn-monitord/publisher.cpp)
  target_link_libraries(publisher_test PRIVATE kvrn_tool_libraries)
  add_library(count_calls MODULE count_calls.c)
  target_link_libraries(count_calls PRIVATE kvrn_flags ${CMAKE_DL_LIBS})
  target_compile_options(count_calls PRIVATE -fno-builtin)  # malloc() has the arguments of all the others here
  add_library(fail_allocation MODULE fail_allocation.c)
  target_link_libraries(fail_allocation PRIVATE kvrn_flags ${CMAKE_DL_LIBS})
  foreach(name kvrnctl kvrnctl_cfg kvrnctl_power kvrnctl_sensors kvrn_monitord)
    add_test(NAME ${name} COMMAND ${python} ${CMAKE_CURRENT_SOURCE_DIR}/${name}_test.py)
    set_tests_properties(${name} PROPERTIES TIMEOUT 180
      ENVIRONMENT "KVRN_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY};KVRN_SOURCE=${PROJECT_SOURCE_DIR};KVRN_COUNTER=$<TARGET_FILE:count_calls>;KVRN_FAILER=$<TARGET_FILE:fail_allocation>")
  endforeach()
  # A mains outage, told step by step: the monitor and two readers must agree.
  add_test(NAME story_outage COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/dev.d/story.py
    ${CMAKE_CURRENT_SOURCE_DIR}/scenarios/outage.txt)
  set_tests_properties(story_outage PROPERTIES TIMEOUT 120 ENVIRONMENT "KVRN_BIN=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
endif()
