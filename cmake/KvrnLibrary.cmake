# libkvrn: the sources come from the subsystem folders. It needs libgpiod, libc and libm at run time and nothing else,
# so it is linked by the C driver: a reference to the C++ run time then fails at link time.
add_library(kvrn SHARED)
add_library(kvrn::kvrn ALIAS kvrn)
set(KVRN_EXPORT_MAP ${PROJECT_SOURCE_DIR}/cmake/libkvrn.map)
target_link_libraries(kvrn PRIVATE $<BUILD_INTERFACE:kvrn_flags> PkgConfig::GPIOD m)
target_include_directories(kvrn INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(kvrn INTERFACE cxx_std_17)
set_target_properties(kvrn PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "" LINK_DEPENDS ${KVRN_EXPORT_MAP})
target_compile_options(kvrn PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  -ffunction-sections -fdata-sections -U_GLIBCXX_ASSERTIONS ${KVRN_LIBRARY_OPTIONS})
# -Bsymbolic: `parse`, `get_value` and `module` are common words; a program's own function of that name must not
# pre-empt the library's.
target_link_options(kvrn PRIVATE
  -Wl,--version-script=${KVRN_EXPORT_MAP} -Wl,-Bsymbolic -Wl,-z,relro -Wl,-z,now -Wl,--gc-sections -Wl,--as-needed)
# Programs that are linked here: where the linker, not the program, finds what the library needs.
target_link_options(kvrn INTERFACE $<BUILD_INTERFACE:-Wl,-rpath-link,${GPIOD_LIBDIR}>)
if(NOT KVRN_SANITIZE)
  set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
  set_target_properties(kvrn PROPERTIES LINKER_LANGUAGE C)
  target_link_options(kvrn PRIVATE -static-libgcc -Wl,-z,defs)
endif()
