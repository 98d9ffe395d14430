# Cross-building from a sysroot made by packaging/sysroot: TESKUPDATER_ARCHITECTURE is armhf or arm64.
# Only programs that run during the build are this machine's; headers and libraries never are.
set(CMAKE_SYSTEM_NAME Linux)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESKUPDATER_ARCHITECTURE TESKUPDATER_SYSROOT)

if(TESKUPDATER_ARCHITECTURE STREQUAL "armhf")
    set(CMAKE_SYSTEM_PROCESSOR armv7l)
    set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
    set(emulator qemu-arm-static)
elseif(TESKUPDATER_ARCHITECTURE STREQUAL "arm64")
    set(CMAKE_SYSTEM_PROCESSOR aarch64)
    set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
    set(emulator qemu-aarch64-static)
else()
    message(FATAL_ERROR "TESKUPDATER_ARCHITECTURE is neither armhf nor arm64")
endif()

if(NOT TESKUPDATER_SYSROOT)
    set(TESKUPDATER_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/${TESKUPDATER_ARCHITECTURE})
endif()
get_filename_component(TESKUPDATER_SYSROOT ${TESKUPDATER_SYSROOT} ABSOLUTE)
if(NOT EXISTS ${TESKUPDATER_SYSROOT}/usr/include)
    message(FATAL_ERROR "There is no sysroot: packaging/sysroot ${TESKUPDATER_ARCHITECTURE} ${TESKUPDATER_SYSROOT}")
endif()

set(CMAKE_C_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-g++)
set(CMAKE_SYSROOT ${TESKUPDATER_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The emulator finds libraries below the sysroot, but Qt does not find its own plugins there.
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L ${TESKUPDATER_SYSROOT}
    -E QT_PLUGIN_PATH=${TESKUPDATER_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/qt5/plugins)
set(CMAKE_PROJECT_INCLUDE ${CMAKE_CURRENT_LIST_DIR}/host-qt-tools.cmake)
