#!/bin/sh
# Checks that the C++ sources are formatted as .clang-format says: lists
# every file clang-format would change and fails when there is one.
#   sh tools/check-format.sh              every .cpp, .h and .c of the tree
#   sh tools/check-format.sh FILE...      only these
#   sh tools/check-format.sh --fix [...]  formats them in place instead
set -eu
cd "$(dirname "$0")/.."
fix=0
if [ "${1:-}" = "--fix" ]; then
    fix=1
    shift
fi
command -v clang-format >/dev/null 2>&1 || { echo "clang-format is not installed (apt-get install clang-format)" >&2; exit 2; }
if [ "$#" -eq 0 ]; then
    set -- $(git ls-files '*.cpp' '*.h' '*.c')
fi
bad=0
for f in "$@"; do
    if [ "$fix" = 1 ]; then
        clang-format -i "$f"
    elif ! clang-format --dry-run --Werror "$f" >/dev/null 2>&1; then
        echo "not formatted: $f"
        bad=1
    fi
done
exit $bad
