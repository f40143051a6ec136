# One set of flags for everything that is built here: the interface target kvrn_flags.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
# Programs look for libraries relative to their own folder, both in the build folder and when installed. The search path
# must contain no folder of the build machine and no empty element, because an empty element means the current folder.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH $ORIGIN/../lib $ORIGIN/../${CMAKE_INSTALL_LIBDIR})
list(REMOVE_DUPLICATES CMAKE_INSTALL_RPATH)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

add_library(kvrn_flags INTERFACE)
target_include_directories(kvrn_flags INTERFACE
  ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/lib ${PROJECT_SOURCE_DIR})
# Time and file offsets have 64 bits on the 32-bit target too. Fused multiply-add is off, because it would make a
# computed percentage differ between hosts.
target_compile_definitions(kvrn_flags INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_compile_options(kvrn_flags INTERFACE -Wall -Wextra -Wformat=2 -Wundef -ffp-contract=off
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Wextra-semi>)
# In joined files the names of one file would shadow those of another.
target_compile_options(kvrn_flags INTERFACE $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow>)
if(KVRN_WERROR)
  target_compile_options(kvrn_flags INTERFACE -Werror)
endif()
if(KVRN_SANITIZE)
  target_compile_options(kvrn_flags INTERFACE -fsanitize=${KVRN_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(kvrn_flags INTERFACE -fsanitize=${KVRN_SANITIZE})
endif()

# For everything that must not need the C++ run time: the library and the monitor.
add_library(kvrn_bare INTERFACE)
target_compile_options(kvrn_bare INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  -ffunction-sections -fdata-sections -U_GLIBCXX_ASSERTIONS ${KVRN_LIBRARY_OPTIONS})
target_link_options(kvrn_bare INTERFACE -Wl,--gc-sections -Wl,--as-needed)
if(NOT KVRN_SANITIZE)
  target_link_options(kvrn_bare INTERFACE -static-libgcc)
endif()
