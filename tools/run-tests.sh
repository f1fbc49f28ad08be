#!/bin/sh
# Checks the layering, installs, builds and runs every test. Exits non-zero
# when anything fails.
set -eu
cd "$(dirname "$0")/.."
sh tools/check-layers.sh
sh tools/build.sh
ctest --test-dir build --output-on-failure -j2 "$@"
