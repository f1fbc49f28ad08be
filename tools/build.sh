#!/bin/sh
# Installs what is missing, then configures and builds into build/: the
# targets named as arguments, or everything. KX4_SANITIZE (address,undefined
# or thread) builds with those sanitizers; build/ follows the setting of each
# call.
set -eu
cd "$(dirname "$0")/.."
sh tools/install-deps.sh
werror=OFF
sanitize=${KX4_SANITIZE-}
[ "${CI:-}" = "true" ] && werror=ON
launcher=""
command -v ccache >/dev/null 2>&1 && launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache"
# Benchmarks measure the plain program only.
bench=ON
[ -n "$sanitize" ] && bench=OFF
# shellcheck disable=SC2086
cmake -S . -B build -G Ninja -DKX4_WERROR=$werror -DKX4_SANITIZE="$sanitize" -DKX4_BUILD_BENCH=$bench $launcher >/dev/null
if [ "$#" -gt 0 ]; then
    cmake --build build --target "$@"
else
    cmake --build build
fi
