# The terminal's processor: ARM with hardware floating point, Debian's armhf. scripts/build-arm makes
# the folder with its libraries and passes it on.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# One compiler builds it all, so no change between compilers matters.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")

set(DMC50_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/arm/sysroot" CACHE PATH
  "The terminal's file system, with the development files")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES DMC50_SYSROOT)
get_filename_component(CMAKE_SYSROOT "${DMC50_SYSROOT}" ABSOLUTE)

# Libraries, headers and packages are the terminal's, programs are this machine's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR}
  "${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/arm-run")
