# Where each file is installed. The simulated device is a separate component: "sim".
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kvrn)
# Export only the library: programs that use it need neither its build flags nor libgpiod's headers.
install(TARGETS kvrn EXPORT kvrn-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/kvrn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT kvrn-targets NAMESPACE kvrn:: DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kvrn-config-version.cmake COMPATIBILITY SameMajorVersion)
configure_package_config_file(cmake/kvrn-config.cmake.in ${CMAKE_BINARY_DIR}/kvrn-config.cmake
  INSTALL_DESTINATION ${package_dir})
install(FILES ${CMAKE_BINARY_DIR}/kvrn-config.cmake ${CMAKE_BINARY_DIR}/kvrn-config-version.cmake
  DESTINATION ${package_dir})
# The pkg-config file computes the prefix from its own location, so an installed tree can be moved.
file(RELATIVE_PATH KVRN_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH KVRN_PC_INCLUDE ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/kvrn.pc.in ${CMAKE_BINARY_DIR}/kvrn.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kvrn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# net-snmp's programs look for MIB modules in this folder.
install(FILES mibs/KVRN-Quorvex-MIB DESTINATION ${CMAKE_INSTALL_DATADIR}/snmp/mibs)

install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN *.md PATTERN *.schema.json
  PATTERN man EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN CMakeLists.txt EXCLUDE)
# For the managers: Prometheus's settings, rules and tests.
install(DIRECTORY monitoring DESTINATION ${CMAKE_INSTALL_DATADIR}/kvrn USE_SOURCE_PERMISSIONS)
install(FILES CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(KVRN_PROGRAMS kvrnctl kvrn-monitord)
if(KVRN_AGENT)
  list(APPEND KVRN_PROGRAMS kvrn-agentd)
endif()
# Manual pages: docs/man/NAME.SECTION.scd, and a page for each header
find_program(SCDOC scdoc)
find_package(Python3 QUIET COMPONENTS Interpreter)
if(SCDOC AND Python3_FOUND)
  file(GLOB manual_sources CONFIGURE_DEPENDS docs/*.md docs/man/*.scd include/kvrn/*.h)
  set(manuals ${CMAKE_BINARY_DIR}/man)
  add_custom_command(OUTPUT ${manuals}/made DEPENDS ${manual_sources} dev.d/manuals.py dev.d/headers.py
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${manuals}
    COMMAND ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/dev.d/manuals.py ${manuals} ${SCDOC}
    COMMAND ${CMAKE_COMMAND} -E touch ${manuals}/made VERBATIM)
  add_custom_target(manuals ALL DEPENDS ${manuals}/made)
  install(DIRECTORY ${manuals}/man3 ${manuals}/man5 DESTINATION ${CMAKE_INSTALL_MANDIR})
  if(KVRN_TOOLS)
    foreach(program IN LISTS KVRN_PROGRAMS)
      install(DIRECTORY ${manuals}/ DESTINATION ${CMAKE_INSTALL_MANDIR} FILES_MATCHING PATTERN ${program}.[18]
        PATTERN man3 EXCLUDE PATTERN man5 EXCLUDE)
    endforeach()
    install(FILES ${manuals}/man1/kvrn-sim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT sim)
  endif()
else()
  message(STATUS "scdoc or Python was not found: the manual pages are left out")
endif()
if(KVRN_TOOLS)
  foreach(tool IN LISTS KVRN_PROGRAMS)
    install(FILES tools/${tool}/${tool}.bash RENAME ${tool}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
endif()
