#!/bin/sh
# Writes the command table of the simulated terminal's control (kx4sim
# --markdown) into sim/README.md, between its markers. Run after changing a
# command; tst_simcontrol fails while the two differ.
#
#   sh tools/sim-readme-table.sh [build-folder]
set -eu
cd "$(dirname "$0")/.."
kx4sim=${1:-build}/kx4test-sim/kx4sim
table=$(mktemp)
trap 'rm -f "$table"' EXIT
"$kx4sim" --markdown >"$table"
awk -v table="$table" '
    /^<!-- end of commands -->$/ { skipping = 0 }
    !skipping { print }
    /^<!-- commands: kx4sim --markdown -->$/ { while ((getline line < table) > 0) print line; skipping = 1 }
' sim/README.md >sim/README.md.new
mv sim/README.md.new sim/README.md
