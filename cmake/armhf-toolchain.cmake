# Cross-compiling for the terminal's board: 32-bit ARM, hard float (armhf),
# with Debian's arm-linux-gnueabihf compilers against a sysroot of Debian's
# own armhf packages (tools/cross-armhf.sh makes it). Qt's code generators
# and translation tools are this machine's: the sysroot's are ARM programs.
# The tests run under qemu-arm user emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

if(NOT KX4_ARMHF_SYSROOT)
    set(KX4_ARMHF_SYSROOT "$ENV{KX4_ARMHF_SYSROOT}")
endif()
if(NOT KX4_ARMHF_SYSROOT OR NOT EXISTS "${KX4_ARMHF_SYSROOT}/usr/include")
    message(FATAL_ERROR "No armhf sysroot: pass -DKX4_ARMHF_SYSROOT=<dir> (tools/cross-armhf.sh sysroot makes one)")
endif()
# try_compile() projects read this file again and need the value too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KX4_ARMHF_SYSROOT)

set(CMAKE_SYSROOT "${KX4_ARMHF_SYSROOT}")
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# The board's cores: Cortex-A8 (single) and Cortex-A9 (dual), both ARMv7-A
# with VFPv3 and NEON; Debian's armhf defaults (ARMv7-A, VFPv3-D16, Thumb-2)
# run on both.

set(CMAKE_FIND_ROOT_PATH "${KX4_ARMHF_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} "${KX4_ARMHF_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${KX4_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${KX4_ARMHF_SYSROOT}/usr/share/pkgconfig")

# The test programs run through the emulator, with the sysroot's loader and
# libraries. binfmt_misc is not needed.
find_program(KX4_QEMU_ARM qemu-arm REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR "${KX4_QEMU_ARM};-cpu;cortex-a9;-L;${KX4_ARMHF_SYSROOT}")

# Qt's host tools from this machine. Qt's CMake files define these targets
# only when they do not exist yet.
foreach(_tool moc rcc uic qmake lrelease lupdate lconvert)
    set(_path /usr/lib/qt5/bin/${_tool})
    if(NOT TARGET Qt5::${_tool} AND EXISTS ${_path})
        add_executable(Qt5::${_tool} IMPORTED GLOBAL)
        set_target_properties(Qt5::${_tool} PROPERTIES IMPORTED_LOCATION ${_path})
    endif()
endforeach()
