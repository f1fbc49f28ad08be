#!/bin/sh
# The whole program's soak: kx4test-sim's burn-in monitor on the simulated
# terminal, its events driven every second for two minutes (or --minutes N),
# checked for growth of memory, descriptors and threads, for every event in
# the log, for three faults and for a clean end on SIGTERM. tools/soak.py
# says what it drives and checks. Soaks the kx4test-sim of the build that
# KX4_SANITIZE names (tools/buildenv.sh; plain when unset), built first when
# it is missing.
#
#     sh tools/soak.sh                  # two minutes
#     sh tools/soak.sh --minutes 60     # an hour
#     sh tools/soak.sh --keep           # keep the run's folder (log, output)
#     KX4_SANITIZE=address,undefined sh tools/soak.sh   # under ASan + UBSan (CI)
set -eu
cd "$(dirname "$0")/.."
. tools/buildenv.sh
sanitize=${KX4_SANITIZE-}
program=$(kx4_build_dir "$sanitize")/kx4test-sim/kx4test-sim
[ -x "$program" ] || sh tools/build.sh kx4test-sim
case "$sanitize" in
*address*)
    # ASan holds freed memory back (a quarantine of up to 256 MB) and gives
    # returning frames stacks of their own: both fill the resident memory by
    # themselves. Without them the soak measures the program's own growth;
    # overflows and leaks are still caught.
    export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:quarantine_size_mb=0:thread_local_quarantine_size_kb=0:detect_stack_use_after_return=0}"
    export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
    ;;
esac
exec python3 tools/soak.py --program "$program" "$@"
