# Sourced by the stand-ins. standin_record NAME ARGS... appends one line to
# $KX4_STANDIN_LOG: NAME and each argument, separated by tabs.
standin_record() {
    [ -n "${KX4_STANDIN_LOG:-}" ] || return 0
    { printf '%s' "$1"; shift; [ "$#" -eq 0 ] || printf '\t%s' "$@"; printf '\n'; } >>"$KX4_STANDIN_LOG"
}

# Daemon stand-ins register themselves so that the pidof stand-in can name
# them, and nothing else. The register is the folder $KX4_STANDIN_RUN (one
# file NAME.pid per program, one process id a line); with it unset nothing is
# registered and pidof names nothing.
standin_register() {
    [ -n "${KX4_STANDIN_RUN:-}" ] || return 0
    mkdir -p "$KX4_STANDIN_RUN" && echo "${2:-$$}" >>"$KX4_STANDIN_RUN/$1.pid"
}

# standin_pids NAME: the registered processes of NAME that still run as NAME
# (a process id reused by another program is not named, nor a killed one not
# yet reaped: it may be gone before the caller signals it). The kernel keeps
# a program's name, cut to 15 bytes, in comm; shell built-ins only, as every
# call of a client stand-in asks.
standin_pids() {
    [ -n "${KX4_STANDIN_RUN:-}" ] && [ -f "$KX4_STANDIN_RUN/$1.pid" ] || return 0
    want=$(printf '%.15s' "$1")
    while read -r pid; do
        comm="" stat=""
        { read -r comm <"/proc/$pid/comm"; } 2>/dev/null || continue
        { read -r stat <"/proc/$pid/stat"; } 2>/dev/null || continue
        state=${stat##*) }
        case ${state%% *} in Z | X) continue ;; esac
        [ "$comm" = "$want" ] && printf '%s\n' "$pid"
    done <"$KX4_STANDIN_RUN/$1.pid"
    return 0
}

# standin_state: the folder where the simulated terminal keeps the state the
# network stand-ins share (interfaces, access points, configured networks):
# inside the system root, else beside the register; empty when neither is
# set, and then nothing is kept.
standin_state() {
    if [ -n "${KX4_ROOT:-}" ]; then
        printf '%s\n' "$KX4_ROOT/var/lib/kx4sim"
    elif [ -n "${KX4_STANDIN_RUN:-}" ]; then
        printf '%s\n' "$KX4_STANDIN_RUN/state"
    fi
}
