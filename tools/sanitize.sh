#!/bin/sh
# The test suite under sanitizers, with choices the test command does not
# offer.
#
#     sh tools/sanitize.sh                    ASan + UBSan, every test (build-asan/)
#     sh tools/sanitize.sh -R 'usbsignal|log' ASan + UBSan, the tests ctest selects
#     sh tools/sanitize.sh --thread           TSan over the threaded tests (build-tsan/)
#     sh tools/sanitize.sh --thread -R disk   TSan, the tests ctest selects
#     sh tools/sanitize.sh --repeat 20 ...    each selected test 20 times (ctest --repeat until-fail:20)
#
# ASan + UBSan is the test command's own build (tools/run-tests.sh, CI). Any
# report fails its test: the programs stop at the first error
# (-fno-sanitize-recover), leaks are checked at exit, and the only leak
# suppressions (compiled in, tools/sanitize/lsan_suppressions.cpp) are for
# Qt's platform plugins. TSan goes on past a report and fails the test at its
# end (exit code 66); it builds only the tests it runs. Arguments after the
# options go to ctest.
set -eu
cd "$(dirname "$0")/.."
. tools/buildenv.sh
mode=address,undefined
repeat=""
while [ "$#" -gt 0 ]; do
    case "$1" in
        --thread) mode=thread; shift ;;
        --repeat) repeat="--repeat until-fail:$2"; shift 2 ;;
        *) break ;;
    esac
done
dir=$(kx4_build_dir $mode)
sh tools/install-deps.sh
kx4_configure "$dir" "$mode"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:detect_stack_use_after_return=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
if [ "$mode" = thread ]; then
    export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=0:second_deadlock_stack=1:suppressions=$(pwd)/tools/sanitize/tsan.supp}"
    # The threaded tests: workers, the log system, power, hot-plug and the
    # simulated terminal's service loop.
    [ "$#" -gt 0 ] || set -- -R 'thread|logsystem|power|usbsignal|disktest|ups|simhotplug|simterminal|mmodem'
    # Only the test programs selected (each test is the program of its name).
    targets=$(ctest --test-dir "$dir" -N "$@" | sed -n 's/^ *Test *#[0-9]*: \(tst_[a-z0-9_]*\)$/\1/p' | grep -vx tst_check_layers)
    # shellcheck disable=SC2086
    cmake --build "$dir" --target $targets
else
    cmake --build "$dir"
fi
echo "sanitize ($mode): ctest $repeat $*"
# shellcheck disable=SC2086
ctest --test-dir "$dir" --output-on-failure -j2 $repeat "$@"
