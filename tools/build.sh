#!/bin/sh
# Installs what is missing, then configures and builds into build/: the
# targets named as arguments, or everything.
set -eu
cd "$(dirname "$0")/.."
sh tools/install-deps.sh
werror=OFF
[ "${CI:-}" = "true" ] && werror=ON
cmake -S . -B build -G Ninja -DKX4_WERROR=$werror >/dev/null
if [ "$#" -gt 0 ]; then
    cmake --build build --target "$@"
else
    cmake --build build
fi
