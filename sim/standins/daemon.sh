# Sourced by the daemon stand-ins (smbd, nmbd) after standin.sh.
#
# standin_daemon NAME ARGS... behaves towards the program as the daemon does:
# with -D among the arguments it leaves a process in the background and
# returns at once; without it, it stays in the foreground. The process
# registers itself (standin_register) and its command line (for the ps
# stand-in), so pidof and ps name it; it survives SIGHUP, recording the line
# "NAME SIGHUP" (the daemons reread their configuration), and waits without
# any child process until it is killed, so a kill -9 leaves nothing behind.
# Without a register (KX4_STANDIN_RUN unset) nothing could ever name or stop
# the process: the call is recorded and nothing keeps running.
standin_daemon() {
    name=$1
    shift
    if [ -z "${KX4_STANDIN_DAEMON:-}" ]; then
        standin_record "$name" "$@"
        [ -n "${KX4_STANDIN_RUN:-}" ] || exit 0
        for arg in "$@"; do
            if [ "$arg" = -D ]; then
                KX4_STANDIN_DAEMON=1 "$0" "$@" </dev/null >/dev/null 2>&1 &
                exit 0
            fi
        done
    fi
    trap 'standin_record "$name" SIGHUP' HUP
    mkdir -p "$KX4_STANDIN_RUN" || exit 1
    # A pipe that nobody writes to: read blocks in the shell itself.
    fifo="$KX4_STANDIN_RUN/.$name.$$.wait"
    rm -f "$fifo"
    mkfifo "$fifo" || exit 1
    exec 3<>"$fifo"
    rm -f "$fifo"
    { printf '%s' "$name"; [ "$#" -eq 0 ] || printf ' %s' "$@"; printf '\n'; } >"$KX4_STANDIN_RUN/$$.cmd"
    standin_register "$name"
    while :; do
        read -r _ <&3
    done
}
