#!/bin/sh
# Installs what is missing, then configures and builds: the targets named as
# arguments, or everything. Plain into build/; KX4_SANITIZE (address,undefined
# or thread) builds with those sanitizers into build-asan/ or build-tsan/
# (tools/buildenv.sh).
set -eu
cd "$(dirname "$0")/.."
. tools/buildenv.sh
sh tools/install-deps.sh
sanitize=${KX4_SANITIZE-}
dir=$(kx4_build_dir "$sanitize")
kx4_configure "$dir" "$sanitize"
if [ "$#" -gt 0 ]; then
    cmake --build "$dir" --target "$@"
else
    cmake --build "$dir"
fi
