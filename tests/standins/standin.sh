# Sourced by the stand-ins. standin_record NAME ARGS... appends one call
# record to $KX4_STANDIN_LOG: "NAME ARGC", then one line per argument.
standin_record() {
    [ -n "${KX4_STANDIN_LOG:-}" ] || return 0
    _name=$1
    shift
    {
        printf '%s %s\n' "$_name" "$#"
        for _arg in "$@"; do
            printf '%s\n' "$_arg"
        done
    } >>"$KX4_STANDIN_LOG"
}
