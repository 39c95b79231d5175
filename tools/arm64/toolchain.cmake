# Cross-compiles for the camera's processor with Debian's compiler and a folder of Debian's arm64
# libraries, which tools/arm64/ensure-sysroot.sh makes and the environment variable ZM_ARM64_SYSROOT names.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# The environment is not there when CMake runs again by itself.
set(ZM_ARM64_SYSROOT "$ENV{ZM_ARM64_SYSROOT}" CACHE PATH "Folder of Debian's arm64 libraries")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZM_ARM64_SYSROOT)
if(NOT IS_DIRECTORY "${ZM_ARM64_SYSROOT}/usr/lib/aarch64-linux-gnu")
    message(FATAL_ERROR "ZM_ARM64_SYSROOT=${ZM_ARM64_SYSROOT} holds no arm64 libraries: "
        "tools/arm64/ensure-sysroot.sh makes and prints the folder")
endif()
set(CMAKE_SYSROOT "${ZM_ARM64_SYSROOT}")
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH "${ZM_ARM64_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# OpenCV's package stands outside the folder.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-aarch64-static;-L;${ZM_ARM64_SYSROOT}")

set(ENV{PKG_CONFIG_SYSROOT_DIR} "${ZM_ARM64_SYSROOT}")
string(JOIN ":" pkg_config_folders
    "${ZM_ARM64_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig"
    "${ZM_ARM64_SYSROOT}/usr/lib/pkgconfig"
    "${ZM_ARM64_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_LIBDIR} "${pkg_config_folders}")
