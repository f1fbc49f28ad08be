#!/bin/sh
# Takes the README's pictures as kx4test-sim shows them: starts a copy of
# build/kx4test-sim on Qt's vnc platform (800x600, the terminal's screen),
# waits until the question is up and saves the screen with
# tools/vnc-screenshot.py; with "manual" it first taps "Manual test" (the
# button's colour on the screen) and saves the manual test console instead,
# once its start has settled. Ends the program with SIGTERM.
#
#   sh tools/make-readme-screenshot.sh [build-folder] [output.png] [question|manual]
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$here/build}
out=${2:-$here/docs/run-mode-question.png}
what=${3:-question}
work=$(mktemp -d)
trap 'kill "$pid" 2>/dev/null || true; rm -rf "$work"' EXIT
cp "$build/kx4test-sim/kx4test-sim" "$work/"
mkdir -p "$(dirname "$out")"
env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=offscreen \
    "$work/kx4test-sim" -platform vnc:size=800x600 >"$work/out" 2>"$work/err" &
pid=$!
# wait_for PATTERN TEXT: until the program's debug output holds PATTERN.
wait_for() {
    i=0
    until grep -q "$1" "$work/err" && grep -q 'localhost:' "$work/out"; do
        i=$((i + 1))
        [ "$i" -lt 600 ] || { echo "kx4test-sim did not show $2" >&2; cat "$work/err" >&2; exit 1; }
        sleep 0.1
    done
}
wait_for '^Show QWidget' "the question"
port=$(sed -n 's/.*localhost:\([0-9]*\).*/\1/p' "$work/out" | head -1)
sleep 1 # a second of the countdown, and the first paint
if [ "$what" = manual ]; then
    # The "Manual test" button's gradient ends in this orange.
    python3 "$here/tools/vnc-screenshot.py" --tap-colour ffc850 "$port" >/dev/null
    wait_for 'Manual test starting' "the manual test console"
    sleep 3 # the first lines of the workers, and the battery and CPU figures
fi
python3 "$here/tools/vnc-screenshot.py" "$port" "$out"
kill -TERM "$pid"
wait "$pid" || true
echo "$out"
