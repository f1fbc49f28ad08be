#!/bin/sh
# Checks the layering, installs, builds, checks the formatting and the tests'
# share of the code, and runs every test. Exits non-zero when anything fails.
#
# The tests' build is ASan + UBSan (build-asan/), so every test and every
# program a test starts, kx4test-sim included, runs under the sanitizers, and
# any report fails its test. KX4_SANITIZE= (empty) runs them on the plain
# build (build/), KX4_SANITIZE=thread under TSan (build-tsan/).
set -eu
cd "$(dirname "$0")/.."
. tools/buildenv.sh
sanitize=${KX4_SANITIZE-address,undefined}
export KX4_SANITIZE="$sanitize"
sh tools/check-layers.sh
sh tools/build.sh
sh tools/check-format.sh
sh tools/count-lines.sh --check
if [ -n "$sanitize" ]; then
    # Leaks are checked at exit; any report ends the program with an error.
    export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:detect_stack_use_after_return=1}"
    export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
    echo "tests: the whole suite built with -fsanitize=$sanitize"
else
    echo "tests: the whole suite, no sanitizer"
fi
ctest --test-dir "$(kx4_build_dir "$sanitize")" --output-on-failure -j2 "$@"
