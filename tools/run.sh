#!/bin/sh
# Installs, builds and starts the program.
set -eu
cd "$(dirname "$0")/.."
sh tools/build.sh
exec ./build/app/kx4test "$@"
