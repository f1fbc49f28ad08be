# Sourced by the stand-ins. standin_record NAME ARGS... appends one line to
# $KX4_STANDIN_LOG: NAME and each argument, separated by tabs.
standin_record() {
    [ -n "${KX4_STANDIN_LOG:-}" ] || return 0
    { printf '%s' "$1"; shift; [ "$#" -eq 0 ] || printf '\t%s' "$@"; printf '\n'; } >>"$KX4_STANDIN_LOG"
}
