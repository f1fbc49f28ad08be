#!/bin/sh
# Builds the terminal's program for the armhf board (32-bit ARM, hard float)
# and runs the tests under qemu-arm user emulation.
#
#   sh tools/cross-armhf.sh [sysroot|configure|build|test|package|all] ...
#
# Steps (default: all, in this order):
#   sysroot    an armhf root of Debian's own packages (mmdebstrap, a sources
#              list of its own), in build-armhf-sysroot/; made once, kept
#   configure  CMake with cmake/armhf-toolchain.cmake into build-armhf/
#   build      the program, the simulated terminal and the tests
#   test       ctest under qemu-arm (offscreen platform)
#   package    the kx4test_<version>_armhf.deb (tools/check-package.sh checks it)
#
# The machine's own apt sources are only read: the mirror comes from them, and
# the release is this machine's (the sysroot's compiler, C library and Qt then
# match the cross compiler's). KX4_ARMHF_JOBS sets the build's parallel jobs
# (default 2); KX4_ARMHF_SYSROOT another place for the sysroot.
set -eu
cd "$(dirname "$0")/.."
top=$(pwd)
sysroot=${KX4_ARMHF_SYSROOT:-$top/build-armhf-sysroot}
builddir=$top/build-armhf
jobs=${KX4_ARMHF_JOBS:-2}

# What the build needs of the board's side: the C and C++ libraries, Qt 5
# with its private headers (the input context), the serial port module,
# libqrencode. The Linguist tools' CMake files come with qttools5-dev.
SYSROOT_PACKAGES="libc6-dev libstdc++-12-dev qtbase5-dev qtbase5-private-dev qttools5-dev
libqt5serialport5-dev libqrencode-dev"
HOST_PACKAGES="crossbuild-essential-armhf mmdebstrap qemu-user cmake ninja-build pkg-config
qtbase5-dev-tools qttools5-dev-tools dpkg-dev"

need_host_tools() {
    missing=""
    for p in $HOST_PACKAGES; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
    done
    [ -z "$missing" ] && return 0
    SUDO=""
    [ "$(id -u)" -ne 0 ] && SUDO="sudo"
    echo "Installing:$missing"
    $SUDO apt-get update -qq
    # shellcheck disable=SC2086
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends $missing
}

# The release this machine runs and the mirror its apt sources name for it.
release() {
    # shellcheck disable=SC1091
    . /etc/os-release
    echo "$VERSION_CODENAME"
}
mirror() {
    # shellcheck disable=SC2016
    apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' |
        awk -v r="$(release)" '$2 == r { print $1; exit }'
}

step_sysroot() {
    if [ -f "$sysroot/.kx4-sysroot-done" ]; then
        echo "sysroot: $sysroot (kept; remove it to make it again)"
        return 0
    fi
    rel=$(release)
    uri=$(mirror)
    [ -n "$uri" ] || { echo "cross-armhf: no mirror for $rel in this machine's apt sources" >&2; exit 1; }
    echo "sysroot: Debian $rel armhf from $uri into $sysroot"
    rm -rf "${sysroot:?}"
    include=$(printf '%s' "$SYSROOT_PACKAGES" | tr -s ' \n' ',,')
    # --variant=extract unpacks the packages and their dependencies without
    # running anything of them: no emulator needed, nothing configured.
    mmdebstrap --quiet --arch=armhf --variant=extract --include="$include" \
        "$rel" "$sysroot" "deb $uri $rel main"
    # Absolute symbolic links inside the root (libm.so -> /lib/...) must
    # resolve inside it, not on this machine.
    find "$sysroot" -type l | while read -r link; do
        target=$(readlink "$link")
        case "$target" in
        /*) ln -sfn "$sysroot$target" "$link" ;;
        esac
    done
    # The root's programs are ARM ones. qemu-arm looks up every path inside
    # the root first, so a test's child (sh, tar, the stand-ins' tools) would
    # be the root's ARM program, which this machine cannot start. Only the
    # headers and libraries are needed: the programs go.
    rm -rf "${sysroot:?}/bin" "${sysroot:?}/sbin" "${sysroot:?}/usr/bin" "${sysroot:?}/usr/sbin" "${sysroot:?}/usr/games"
    touch "$sysroot/.kx4-sysroot-done"
}

step_configure() {
    launcher=""
    command -v ccache >/dev/null 2>&1 && launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache"
    # shellcheck disable=SC2086
    cmake -S . -B "$builddir" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$top/cmake/armhf-toolchain.cmake" \
        -DKX4_ARMHF_SYSROOT="$sysroot" \
        -DKX4_BUILD_BENCH=OFF $launcher >/dev/null
}

step_build() {
    nice -n 19 cmake --build "$builddir" -j "$jobs"
    file "$builddir/app/kx4test"
}

step_test() {
    # The emulator runs every test (CMake's cross-compiling emulator); the
    # platform is offscreen, as on any machine without a display.
    # qemu-arm (7.2) refuses the clone() with CLONE_PIDFD that Qt's QProcess
    # starts children with, and tests that start children then fail; one run
    # also ended processes outside the test (the calling shell). So the tests
    # run in a process namespace of their own: whatever they signal stays in it.
    isolate=""
    if [ "$(id -u)" -eq 0 ] && unshare --pid --fork --mount-proc --kill-child true 2>/dev/null; then
        isolate="unshare --pid --fork --mount-proc --kill-child"
    else
        echo "cross-armhf: no process namespace here (needs root); tests that start children may signal outside" >&2
    fi
    # shellcheck disable=SC2086
    QT_QPA_PLATFORM=offscreen $isolate nice -n 19 ctest --test-dir "$builddir" --output-on-failure -j "$jobs" "$@" </dev/null
}

step_package() {
    (cd "$builddir" && cpack -G DEB)
    ls "$builddir"/*.deb
}

steps=${1:-all}
[ "$#" -gt 0 ] && shift
need_host_tools
start=$(date +%s)
case "$steps" in
sysroot) step_sysroot ;;
configure) step_configure ;;
build) step_build ;;
test) step_test "$@" ;;
package) step_package ;;
all)
    step_sysroot
    step_configure
    step_build
    step_test "$@"
    step_package
    ;;
*) echo "usage: $0 [sysroot|configure|build|test|package|all]" >&2; exit 2 ;;
esac
echo "cross-armhf: $steps took $(($(date +%s) - start)) s"
