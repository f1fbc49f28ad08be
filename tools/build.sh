#!/bin/sh
# Installs what is missing, then configures and builds into build/: the
# targets named as arguments, or everything.
set -eu
cd "$(dirname "$0")/.."
sh tools/install-deps.sh
werror=OFF
[ "${CI:-}" = "true" ] && werror=ON
launcher=""
command -v ccache >/dev/null 2>&1 && launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache"
# shellcheck disable=SC2086
cmake -S . -B build -G Ninja -DKX4_WERROR=$werror $launcher >/dev/null
# A class added to a folder changes its target's moc/uic list, which Ninja's
# record of the generator's inputs does not show: let those targets generate
# again.
find build -path '*/CMakeFiles/*_autogen.dir/AutogenInfo.json' | while read -r info; do
    target=$(basename "$(dirname "$info")" .dir)
    stamp=$(dirname "$(dirname "$(dirname "$info")")")/$target/timestamp
    if [ -f "$stamp" ] && [ "$info" -nt "$stamp" ]; then
        rm -f "$stamp"
    fi
done
if [ "$#" -gt 0 ]; then
    cmake --build build --target "$@"
else
    cmake --build build
fi
