# CPack: one Debian package per program (packaging/CMakeLists.txt installs
# their files). A cross build for the board packs the terminal's program, a
# build on this machine the desktop program; KX4_PACKAGES names others.
set(KX4_PACKAGE_MAINTAINER "kx4test developers <kx4test@localhost>" CACHE STRING "Maintainer field of the packages")
if(CMAKE_CROSSCOMPILING)
    set(_default_packages terminal)
else()
    set(_default_packages desktop)
endif()
set(KX4_PACKAGES ${_default_packages} CACHE STRING "Packages cpack makes: terminal, desktop or both")

add_subdirectory(packaging)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kx4test)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${KX4_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${KX4_PACKAGES})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KX4_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
if(CMAKE_CROSSCOMPILING)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
else()
    execute_process(COMMAND dpkg --print-architecture OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE
                    OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()
# Written out, the same for both architectures: the cross build has no
# package database of the board's libraries to compute them from. The Qt
# ABI package: the program uses Qt's private input-context API.
set(_qt "libqt5core5a (>= 5.15.8), qtbase-abi-5-15-8, libqt5gui5 (>= 5.15.8) | libqt5gui5-gles (>= 5.15.8), \
libqt5widgets5 (>= 5.15.8), libqt5network5 (>= 5.15.8), libqt5serialport5 (>= 5.15.8)")
set(_depends "libc6 (>= 2.36), libstdc++6 (>= 12), libgcc-s1 (>= 3.5), ${_qt}, libqrencode4 (>= 4.1.1)")

set(CPACK_DEBIAN_TERMINAL_PACKAGE_NAME kx4test)
set(CPACK_DEBIAN_TERMINAL_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_TERMINAL_PACKAGE_DEPENDS "${_depends}")
set(CPACK_COMPONENT_TERMINAL_DESCRIPTION "hardware test program of the KX4 terminal
The test application that production lines and service engineers run on the
KX4 touch-screen terminal: it scans the hardware and runs the burn-in monitor
or the manual console. Installed in /opt/kx4test, started on the console at
boot by kx4test.service (framebuffer screen, touch input).")
set(CPACK_DEBIAN_TERMINAL_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/postinst ${PROJECT_SOURCE_DIR}/packaging/prerm
    ${PROJECT_SOURCE_DIR}/packaging/postrm)
set(CPACK_DEBIAN_TERMINAL_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DESKTOP_PACKAGE_NAME kx4test-sim)
set(CPACK_DEBIAN_DESKTOP_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_DEPENDS "${_depends}")
set(CPACK_COMPONENT_DESKTOP_DESCRIPTION "KX4 terminal hardware test program on a simulated terminal
kx4test-sim runs the terminal's test program on a desktop against a
simulated terminal: every peripheral is a model, system programs are
stand-ins, nothing of the machine is changed. Start it with kx4test-sim.")

include(CPack)
