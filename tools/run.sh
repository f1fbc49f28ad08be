#!/bin/sh
# Installs, builds and starts the program on the simulated terminal
# (kx4test-sim). `sh tools/run.sh --real` starts the terminal's own program,
# kx4test, instead. Other arguments go to the program.
set -eu
cd "$(dirname "$0")/.."
program=./build/kx4test-sim/kx4test-sim
if [ "${1:-}" = "--real" ]; then
    shift
    program=./build/app/kx4test
fi
# The programs only: the tests and benchmarks are built by tools/run-tests.sh.
sh tools/build.sh kx4test kx4test-sim
if [ -z "${XDG_RUNTIME_DIR:-}" ]; then
    XDG_RUNTIME_DIR=$(mktemp -d)
    export XDG_RUNTIME_DIR
fi
# Without a display (a server, a container) kx4test-sim serves its screen
# over VNC to this machine only and prints where; kx4test runs headless
# until Ctrl+C.
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ -z "${QT_QPA_PLATFORM:-}" ]; then
    if [ "$program" = ./build/app/kx4test ]; then
        export QT_QPA_PLATFORM=offscreen
    else
        export QT_QPA_PLATFORM=vnc:size=1024x768
    fi
fi
if [ "$program" = ./build/kx4test-sim/kx4test-sim ]; then
    echo "kx4test-sim: simulated terminal; log in build/kx4test-sim/Log/kx4test-sim.log; Ctrl+C ends it."
fi
exec "$program" "$@"
