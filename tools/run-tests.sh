#!/bin/sh
# Checks the layering, installs, builds, checks the tests' share of the code
# and runs every test. Exits non-zero when anything fails.
set -eu
cd "$(dirname "$0")/.."
sh tools/check-layers.sh
sh tools/build.sh
sh tools/count-lines.sh --check
ctest --test-dir build --output-on-failure -j2 "$@"
