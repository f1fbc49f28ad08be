#!/bin/sh
# Stand-in for the board's power-off script /usr/bin/v3_poweroff.sh: cuts no power.
# The simulated terminal links it into its root, so the folder of standin.sh
# is found through the link.
. "$(dirname "$(readlink -f "$0")")/standin.sh"
standin_record v3_poweroff.sh "$@"
exit "${KX4_STANDIN_V3_POWEROFF_EXIT:-0}"
