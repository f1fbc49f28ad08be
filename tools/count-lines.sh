#!/bin/sh
# Counts the lines of C++ (.cpp, .h, .c) per part of the tree: the program
# (app, core, devices, net, power, ui, autotest), the simulated terminal
# (sim), the benchmarks (bench) and the tests (tests, and the fuzz targets in
# fuzz, which are tests too), and the tests' share of all of it. Every line
# counts, comments and blank lines too.
#   sh tools/count-lines.sh            the table
#   sh tools/count-lines.sh --check    also fails when the tests are more
#                                      than a third of all C++ lines
set -eu
cd "$(dirname "$0")/.."
count() {
    find "$@" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \) -print0 2>/dev/null |
        xargs -0 cat 2>/dev/null | wc -l
}
program=$(count app core devices net power ui autotest)
sim=$(count sim)
bench=$(count bench)
fuzz=$(count fuzz)
tests=$(($(count tests) + fuzz))
all=$((program + sim + bench + tests))
printf '%-14s %7d\n' program "$program" simulator "$sim" benchmarks "$bench" tests "$tests" \
    "  of them fuzz" "$fuzz" all "$all"
share=$((tests * 1000 / all))
printf 'tests are %d.%d %% of all C++ lines (at most 33.3 %%)\n' $((share / 10)) $((share % 10))
if [ "${1:-}" = "--check" ] && [ $((tests * 3)) -gt "$all" ]; then
    echo "tests are more than a third of all C++ lines" >&2
    exit 1
fi
