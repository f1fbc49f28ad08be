#!/bin/sh
# The whole program's soak: kx4test-sim's burn-in monitor on the simulated
# terminal, its events driven every second for two minutes (or --minutes N),
# checked for growth of memory, descriptors and threads, for every event in
# the log, for three faults and for a clean end on SIGTERM. tools/soak.py
# says what it drives and checks. Builds kx4test-sim first when it is missing
# (plainly, into build-soak/, when KX4_SANITIZE is set).
#
#     sh tools/soak.sh                  # two minutes (what CI runs)
#     sh tools/soak.sh --minutes 60     # an hour
#     sh tools/soak.sh --keep           # keep the run's folder (log, output)
set -eu
cd "$(dirname "$0")/.."
if [ -z "${KX4_SANITIZE-}" ]; then
    [ -x build/kx4test-sim/kx4test-sim ] || sh tools/build.sh kx4test-sim
    exec python3 tools/soak.py "$@"
fi
# build/ is sanitized (CI): a sanitizer's allocator grows the resident memory
# on its own, so the soak runs a plainly built kx4test-sim from build-soak/.
launcher=""
command -v ccache >/dev/null 2>&1 && launcher="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache"
# shellcheck disable=SC2086
cmake -S . -B build-soak -G Ninja -DKX4_SANITIZE= -DKX4_BUILD_TESTS=OFF -DKX4_BUILD_BENCH=OFF $launcher >/dev/null
cmake --build build-soak --target kx4test-sim
exec python3 tools/soak.py --program build-soak/kx4test-sim/kx4test-sim "$@"
