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
# Manual pages: docs/man/NAME.SECTION.scd
find_program(SCDOC scdoc)
if(SCDOC AND KVRN_TOOLS)
  foreach(program IN LISTS KVRN_PROGRAMS ITEMS kvrn-sim)
    set(component Unspecified)
    if(program STREQUAL kvrn-sim)
      set(component sim)
    endif()
    file(GLOB page CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/${program}.*.scd)
    get_filename_component(name ${page} NAME_WLE)
    string(REGEX MATCH "[0-9]$" section ${name})
    add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/man/${name} DEPENDS ${page}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
      COMMAND sh -c "${SCDOC} < ${page} > ${CMAKE_BINARY_DIR}/man/${name}" VERBATIM)
    list(APPEND manuals ${CMAKE_BINARY_DIR}/man/${name})
    install(FILES ${CMAKE_BINARY_DIR}/man/${name} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
      COMPONENT ${component})
  endforeach()
  add_custom_target(manuals ALL DEPENDS ${manuals})
elseif(KVRN_TOOLS)
  message(STATUS "scdoc was not found: the manual pages are left out")
endif()
if(KVRN_TOOLS)
  foreach(tool IN LISTS KVRN_PROGRAMS)
    install(FILES tools/${tool}/${tool}.bash RENAME ${tool}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
endif()
