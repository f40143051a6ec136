# The device: big-endian MIPS, 32-bit. Tests run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)
# The SoCs support MIPS16e. With it the library needs a quarter less flash.
set(KVRN_LIBRARY_OPTIONS -mips16)
# The programs contain the parts of the C++ run time that they use. The shared library would need 480 KiB of flash.
set(KVRN_TOOL_OPTIONS -mips16 -ffunction-sections -fdata-sections)
set(KVRN_TOOL_LINK_OPTIONS -static-libstdc++ -static-libgcc -Wl,--gc-sections)
get_filename_component(KVRN_MIPS_DEPS ${CMAKE_CURRENT_LIST_DIR}/../build/deps/mips ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-mips;-L;/usr/mips-linux-gnu;-E;LD_LIBRARY_PATH=${KVRN_MIPS_DEPS}/lib")
set(ENV{PKG_CONFIG_LIBDIR} ${KVRN_MIPS_DEPS}/lib/pkgconfig)
