#!/bin/sh
# Takes the README's picture of the run-mode question as kx4test-sim shows it:
# starts a copy of build/kx4test-sim on Qt's vnc platform (800x600, the
# terminal's screen), waits until the question is up, saves the screen with
# tools/vnc-screenshot.py and ends the program with SIGTERM.
#
#   sh tools/make-readme-screenshot.sh [build-folder] [output.png]
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$here/build}
out=${2:-$here/docs/run-mode-question.png}
work=$(mktemp -d)
trap 'kill "$pid" 2>/dev/null || true; rm -rf "$work"' EXIT
cp "$build/kx4test-sim/kx4test-sim" "$work/"
mkdir -p "$(dirname "$out")"
env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=offscreen \
    "$work/kx4test-sim" -platform vnc:size=800x600 >"$work/out" 2>"$work/err" &
pid=$!
i=0
until grep -q '^Show QWidget' "$work/err" && grep -q 'localhost:' "$work/out"; do
    i=$((i + 1))
    [ "$i" -lt 600 ] || { echo "kx4test-sim did not show the question" >&2; cat "$work/err" >&2; exit 1; }
    sleep 0.1
done
port=$(sed -n 's/.*localhost:\([0-9]*\).*/\1/p' "$work/out" | head -1)
sleep 1 # a second of the countdown, and the first paint
python3 "$here/tools/vnc-screenshot.py" "$port" "$out"
kill -TERM "$pid"
wait "$pid" || true
echo "$out"
