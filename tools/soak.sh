#!/bin/sh
# The whole program's soak: kx4test-sim's burn-in monitor on the simulated
# terminal, its events driven every second for two minutes (or --minutes N),
# checked for growth of memory, descriptors and threads, for every event in
# the log, for three faults and for a clean end on SIGTERM. tools/soak.py
# says what it drives and checks. Builds kx4test-sim first when it is missing.
#
#     sh tools/soak.sh                  # two minutes (what CI runs)
#     sh tools/soak.sh --minutes 60     # an hour
#     sh tools/soak.sh --keep           # keep the run's folder (log, output)
set -eu
cd "$(dirname "$0")/.."
[ -x build/kx4test-sim/kx4test-sim ] || sh tools/build.sh kx4test-sim
exec python3 tools/soak.py "$@"
