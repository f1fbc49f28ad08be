#!/bin/sh
# Takes the README's pictures as kx4test-sim shows them: starts a copy of
# build/kx4test-sim on Qt's vnc platform (800x600, the terminal's screen),
# waits until the screen is up, saves it with tools/vnc-screenshot.py and ends
# the program with SIGTERM.
#
#   sh tools/make-readme-screenshot.sh [build-folder] [output.png] [question|monitor]
#
# question (the default): the run-mode question, one second into its
# countdown. monitor: the burn-in monitor once the burn-in scenario
# (sim/scenarios/burn-in.txt) has chosen it and proved every device, its
# serial loopback tests included.
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$here/build}
what=${3:-question}
case $what in
question) out=${2:-$here/docs/run-mode-question.png} ;;
monitor) out=${2:-$here/docs/burn-in-monitor.png} ;;
*) echo "usage: $0 [build-folder] [output.png] [question|monitor]" >&2; exit 2 ;;
esac
work=$(mktemp -d)
trap 'kill "$pid" 2>/dev/null || true; rm -rf "$work"' EXIT
cp "$build/kx4test-sim/kx4test-sim" "$work/"
mkdir -p "$(dirname "$out")"
scenario=
[ "$what" = monitor ] && scenario=$here/sim/scenarios/burn-in.txt
env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=offscreen \
    "$work/kx4test-sim" ${scenario:+--scenario "$scenario"} -platform vnc:size=800x600 >"$work/out" 2>"$work/err" &
pid=$!
ready='^Show QWidget'
[ "$what" = monitor ] && ready='scenario done'
i=0
until grep -q "$ready" "$work/err" && grep -q 'localhost:' "$work/out"; do
    i=$((i + 1))
    [ "$i" -lt 1200 ] || { echo "kx4test-sim did not show the $what" >&2; cat "$work/err" >&2; exit 1; }
    sleep 0.1
done
port=$(sed -n 's/.*localhost:\([0-9]*\).*/\1/p' "$work/out" | head -1)
if [ "$what" = monitor ]; then
    sleep 12 # the serial loopback tests the scenario started last
else
    sleep 1 # a second of the countdown, and the first paint
fi
python3 "$here/tools/vnc-screenshot.py" "$port" "$out"
kill -TERM "$pid"
wait "$pid" || true
echo "$out"
