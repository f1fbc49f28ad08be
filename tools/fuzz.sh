#!/bin/sh
# Builds the libFuzzer targets (fuzz/, with clang) into build-fuzz/ and runs
# each one from its seed corpus.
#
#     sh tools/fuzz.sh                  every target for a fixed number of inputs (CI)
#     sh tools/fuzz.sh --runs 1000000   that many inputs per target
#     sh tools/fuzz.sh --time 600       600 seconds per target
#     sh tools/fuzz.sh --time 3600 atr  one target (fuzz_atr) for an hour
#
# A target's own findings go to build-fuzz/corpus/<name>/ (kept between
# runs); a crash leaves its input as build-fuzz/crash-<name>-*. Exits non-zero
# on the first target that finds anything.
set -eu
cd "$(dirname "$0")/.."
runs=20000
seconds=""
while [ "$#" -gt 0 ]; do
    case "$1" in
        --runs) runs=$2; shift 2 ;;
        --time) seconds=$2; shift 2 ;;
        *) break ;;
    esac
done
sh tools/install-deps.sh
. tools/buildenv.sh
# shellcheck disable=SC2046
cmake -S fuzz -B build-fuzz -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ $(kx4_launcher) >/dev/null
cmake --build build-fuzz

if [ "$#" -gt 0 ]; then
    targets="$*"
else
    targets=$(cd fuzz && ls fuzz_*.cpp | sed 's/^fuzz_//; s/\.cpp$//')
fi
limit="-runs=$runs"
[ -n "$seconds" ] && limit="-max_total_time=$seconds"
# No platform plugin, no translations: the parsers alone.
export QT_QPA_PLATFORM=offscreen
# Patterns built per input: compiling each for the JIT costs more than it saves.
export QT_ENABLE_REGEXP_JIT=0
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
for name in $targets; do
    corpus=build-fuzz/corpus/$name
    mkdir -p "$corpus"
    echo "fuzz_$name: $limit"
    # -timeout: an input that takes a second is a stall, reported as a crash.
    if ! build-fuzz/fuzz_"$name" "$limit" -timeout=1 -rss_limit_mb=1024 -max_len=4096 -print_final_stats=1 \
        -artifact_prefix="build-fuzz/crash-$name-" "$corpus" "fuzz/corpus/$name" >"build-fuzz/fuzz_$name.log" 2>&1; then
        tail -n 40 "build-fuzz/fuzz_$name.log"
        echo "fuzz_$name FAILED (log: build-fuzz/fuzz_$name.log)"
        exit 1
    fi
    grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb)' "build-fuzz/fuzz_$name.log" | tr '\n' ' '
    echo
done
echo "fuzz: every target clean"
