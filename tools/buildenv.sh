# shellcheck shell=sh
# Sourced by the build scripts (from the top of the tree): where each kind of
# build lives, and how it is configured.
#
#   build/       plain: the programs (tools/run.sh), benchmarks, packages
#   build-asan/  ASan + UBSan (KX4_SANITIZE=address,undefined): the tests
#   build-tsan/  TSan (KX4_SANITIZE=thread): the threaded tests

# The build folder for a KX4_SANITIZE setting.
kx4_build_dir() {
    case "$1" in
    "") echo build ;;
    *thread*) echo build-tsan ;;
    *) echo build-asan ;;
    esac
}

# Configures folder $1 for sanitizers $2 (empty: plain). Warnings are errors
# under CI; benchmarks measure the plain program only.
kx4_configure() {
    werror=OFF
    [ "${CI:-}" = "true" ] && werror=ON
    bench=ON
    [ -n "$2" ] && bench=OFF
    # shellcheck disable=SC2046
    cmake -S . -B "$1" -G Ninja -DKX4_WERROR=$werror -DKX4_SANITIZE="$2" -DKX4_BUILD_BENCH=$bench \
        $(kx4_launcher) >/dev/null
}

# ccache in front of the compilers when it is installed.
kx4_launcher() {
    if command -v ccache >/dev/null 2>&1; then
        echo "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache"
    fi
}
