#!/bin/sh
# Installs, builds and starts the program on the simulated terminal
# (kx4test-sim) with the terminal's panel (kx4sim-panel) beside it.
# `sh tools/run.sh --no-panel` starts the terminal alone; `sh tools/run.sh
# --real` starts the terminal's own program, kx4test, instead. Other
# arguments go to the program (--scenario FILE plays a scenario).
set -eu
cd "$(dirname "$0")/.."
program=./build/kx4test-sim/kx4test-sim
panel=--panel
for arg in "$@"; do
    shift
    case $arg in
    --real) program=./build/app/kx4test ;;
    --no-panel) panel= ;;
    *) set -- "$@" "$arg" ;;
    esac
done
# The plain programs only (build/): tools/run-tests.sh builds the tests
# sanitized (build-asan/), a bare tools/build.sh the benchmarks.
KX4_SANITIZE='' sh tools/build.sh kx4test kx4test-sim kx4sim-cli kx4sim-panel
if [ "$program" = ./build/kx4test-sim/kx4test-sim ]; then
    # Without a display it serves its screen (and the panel's) over VNC to
    # this machine only and prints where; it cleans up after itself.
    echo "kx4test-sim: the program on a simulated terminal; Ctrl+C ends it."
    exec "$program" $panel "$@"
fi
# kx4test runs headless without a display, until Ctrl+C, with a runtime
# folder of its own that goes with it.
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ -z "${QT_QPA_PLATFORM:-}" ]; then
    export QT_QPA_PLATFORM=offscreen
fi
runtime=
if [ -z "${XDG_RUNTIME_DIR:-}" ]; then
    runtime=$(mktemp -d)
    XDG_RUNTIME_DIR=$runtime
    export XDG_RUNTIME_DIR
fi
trap 'exit 130' INT TERM HUP
# The real program against this machine, except for what would reach the
# test bench's network or set the clock: the burn-in monitor pings
# 192.168.0.1 and then sets the clock from 192.168.0.2. Their stand-ins come
# first on PATH (no bench is there: its host is unreachable).
net=$(mktemp -d)
trap 'rm -rf "$net" ${runtime:+"$runtime"}' EXIT
for tool in ping ntpclient hwclock; do
    ln -s "$PWD/sim/standins/$tool" "$net/$tool"
done
PATH=$net:$PATH "$program" "$@"
