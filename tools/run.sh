#!/bin/sh
# Installs, builds and starts the program.
set -eu
cd "$(dirname "$0")/.."
sh tools/build.sh
# Without a display (a server, a container) the program runs headless.
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ -z "${QT_QPA_PLATFORM:-}" ]; then
    export QT_QPA_PLATFORM=offscreen
fi
if [ -z "${XDG_RUNTIME_DIR:-}" ]; then
    XDG_RUNTIME_DIR=$(mktemp -d)
    export XDG_RUNTIME_DIR
fi
exec ./build/app/kx4test "$@"
