#!/bin/sh
# Takes the README's pictures as kx4test-sim shows them: starts a copy of
# build/kx4test-sim on Qt's vnc platform (800x600, the terminal's screen),
# waits until the screen is up, saves it with tools/vnc-screenshot.py and ends
# the program with SIGTERM.
#
#   sh tools/make-readme-screenshot.sh [build-folder] [output.png] [question|monitor]
#
# question (the default): the run-mode question, one second into its
# countdown. monitor: the burn-in monitor, with the countdown cut short, a
# card put into the SD slot and the simulated bench answering ping, a few
# seconds after it opened.
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
countdown=
[ "$what" = monitor ] && countdown=200
env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=offscreen ${countdown:+KX4_TEST_COUNTDOWN_MS=$countdown} \
    "$work/kx4test-sim" -platform vnc:size=800x600 >"$work/out" 2>"$work/err" &
pid=$!
ready='^Show QWidget'
[ "$what" = monitor ] && ready='Auto test starting'
i=0
until grep -q "$ready" "$work/err" && grep -q 'localhost:' "$work/out"; do
    i=$((i + 1))
    [ "$i" -lt 600 ] || { echo "kx4test-sim did not show the $what" >&2; cat "$work/err" >&2; exit 1; }
    sleep 0.1
done
port=$(sed -n 's/.*localhost:\([0-9]*\).*/\1/p' "$work/out" | head -1)
if [ "$what" = monitor ]; then
    # The simulated terminal's root, from the environment the log lists.
    root=$(sed -n 's/.*\tKX4_ROOT=//p' "$work/Log/kx4test-sim.log" | head -1)
    echo "insert-card 0" >"$root/run/kx4-sim/requests"
    sleep 5 # the disk test, some pings, the clock ticking
else
    sleep 1 # a second of the countdown, and the first paint
fi
python3 "$here/tools/vnc-screenshot.py" "$port" "$out"
kill -TERM "$pid"
wait "$pid" || true
echo "$out"
