# shellcheck shell=sh disable=SC2034,SC2154
# What the rc.d programs share, after FreeBSD's rc.subr. The program sets $tree, sources this file, sets $name and what
# else it needs, defines do_start and do_stop, and calls run_rc with its arguments:
#   rcvar       the setting that must be YES, if any
#   keywords    the verbs that it takes
#   pidfile     where its daemon writes its number, if it has such a file
#   find_pid    prints the number of its daemon, if that runs

# shellcheck source=adapters/libexec/common.sh
. "$tree/libexec/common.sh"

# Settings are split into words, which must not become the names of files.
set -f

keywords='start stop restart enabled describe'
rcvar='' pidfile='' desc=''

find_pid() {
    :
}

# rc_warn TEXT: programs of /etc/rc.d name themselves by their path on FreeBSD.
rc_warn() {
    printf '/etc/rc.d/%s: WARNING: %s\n' "$name" "$1" >&2
}

rc_err() {
    printf '/etc/rc.d/%s: ERROR: %s\n' "$name" "$2" >&2
    exit "$1"
}

# take_network_lock: for who changes addresses, routes or DHCP clients. Longer than any wait for a DHCP server.
take_network_lock() {
    take_lock netif 300 || rc_err 1 'another change of the network is still at work.'
}

# load_rc_config: the settings, as variables of this shell.
load_rc_config() {
    # shellcheck source=adapters/etc/defaults/rc.conf
    . "$tree/etc/defaults/rc.conf"
    for rc_conf in $rc_conf_files; do
        # shellcheck source=/dev/null
        [ ! -r "$rc_conf" ] || . "$rc_conf"
    done
}

# setting NAME [DEFAULT]: prints the value of a setting; a name that no variable can have gives the default.
setting() {
    case $1 in
    *[!A-Za-z0-9_]*) printf '%s\n' "${2-}" ;;
    *) eval "printf '%s\n' \"\${$1-\${2-}}\"" ;;
    esac
}

checkyesno() {
    case $(setting "$1") in
    [Yy][Ee][Ss] | [Tt][Rr][Uu][Ee] | [Oo][Nn] | 1) return 0 ;;
    [Nn][Oo] | [Ff][Aa][Ll][Ss][Ee] | [Oo][Ff][Ff] | 0) return 1 ;;
    esac
    rc_warn "\$$1 is not set properly - see rc.conf(5)."
    return 1
}

# pid_from_file FILE PROGRAM: prints the number in the file if a process of that program has it.
pid_from_file() {
    if [ -r "$1" ] && read -r pid rest <"$1" && [ -n "$pid" ]; then
        case $pid in
        *[!0-9]*) return ;;
        esac
        # The kernel keeps 15 characters of a program's name.
        if [ -r "/proc/$pid/comm" ] && [ "$(cat "/proc/$pid/comm")" = "$(printf '%.15s' "$2")" ]; then
            printf '%s\n' "$pid"
        fi
    fi
}

# pids_of PROGRAM: prints the numbers of its processes, in one line. Those of other networks, as containers have, are left
# out, and so are the programs of this tree that have the same name.
pids_of() {
    found=''
    for pid in $(pgrep -x --ns $$ --nslist net "$1"); do
        case $(readlink "/proc/$pid/exe") in
        */"$1" | */"$1 (deleted)") found="$found $pid" ;;
        esac
    done
    printf '%s' "${found# }"
}

# alive PID...: prints those that still run. A dead one that its parent has not asked after has no program any more.
alive() {
    for pid do
        ! readlink "/proc/$pid/exe" >/dev/null || printf '%s ' "$pid"
    done
}

# end_pids PID...: ends daemons and waits until they are gone. dhcpcd loses a signal that meets it while it reads a
# command, so the signal is sent again every three seconds, and after thirty the daemons are not asked any more.
end_pids() {
    printf 'Waiting for PIDS: %s' "$*"
    tries=0 signal=TERM left=$*
    # shellcheck disable=SC2086 # numbers
    while left=$(alive $left) && [ -n "$left" ]; do
        [ $((tries % 30)) -ne 0 ] || kill -$signal $left 2>/dev/null
        sleep 0.1
        tries=$((tries + 1))
        [ $tries -lt 300 ] || signal=KILL
    done
    printf '.\n'
}

# detached COMMAND...: for what leaves a daemon behind. That must not hold on to the caller's pipes and sockets.
detached() {
    "$@" </dev/null >/dev/null 2>&1 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-
}

# start_message: true unless a quiet start is wanted and rc.conf says that such a start shows nothing.
start_message() {
    [ -z "$rc_quiet" ] || checkyesno rc_startmsgs
}

rc_usage() {
    printf 'Usage: /etc/rc.d/%s [fast|force|one|quiet](%s)\n' "$name" "$(printf '%s' "$keywords" | tr ' ' '|')" >&2
    exit 1
}

not_running() {
    printf '%s not running?%s\n' "$name" "${pidfile:+ (check $pidfile).}" >&2
    return 1
}

# run_rc VERB [ARGUMENT...]
run_rc() {
    rc_fast='' rc_force='' rc_quiet='' prefix=''
    verb=${1-}
    case $verb in
    fast*) verb=${verb#fast} rc_fast=yes rc_quiet=yes ;;
    force*) verb=${verb#force} rc_force=yes prefix=force ;;
    one*) verb=${verb#one} prefix=one ;;
    quiet*) verb=${verb#quiet} rc_quiet=yes prefix=quiet ;;
    esac
    case $prefix in
    force | one) [ -z "$rcvar" ] || eval "$rcvar=YES" ;;
    esac
    [ -n "$verb" ] || rc_usage
    shift
    case " $keywords " in
    *" $verb "*) ;;
    *)
        printf "/etc/rc.d/%s: unknown directive '%s'.\n" "$name" "$verb" >&2
        rc_usage
        ;;
    esac

    if [ "$verb" = enabled ]; then
        [ -z "$rcvar" ] || checkyesno "$rcvar"
        return
    fi

    rc_pid=$(find_pid)
    case $verb:$rc_pid in
    describe:* | enable:* | stop:?*) ;;
    *)
        if [ -n "$rcvar" ] && ! checkyesno "$rcvar"; then
            [ -n "$rc_quiet" ] || printf "Cannot '%s' %s. Set %s to YES in /etc/rc.conf or use 'one%s' instead of '%s'.\n" \
                "$verb" "$name" "$rcvar" "$verb" "$verb"
            return 0
        fi
        ;;
    esac

    case $verb in
    start)
        if [ -z "$rc_fast" ] && [ -n "$rc_pid" ]; then
            [ -n "$rc_quiet" ] || printf '%s already running?  (pid=%s).\n' "$name" "$rc_pid" >&2
            return 1
        fi
        do_start "$@"
        ;;
    stop) do_stop "$@" ;;
    restart)
        (run_rc "${prefix}stop" "$@")
        (run_rc "${prefix}start" "$@")
        ;;
    status)
        if [ -z "$rc_pid" ]; then
            printf '%s is not running.\n' "$name"
            return 1
        fi
        printf '%s is running as pid %s.\n' "$name" "$rc_pid"
        ;;
    enable) "$tree/usr/sbin/sysrc" -n "$rcvar=YES" >/dev/null && printf '%s enabled in /etc/rc.conf\n' "$name" ;;
    disable) "$tree/usr/sbin/sysrc" -n "$rcvar=NO" >/dev/null && printf '%s disabled in /etc/rc.conf\n' "$name" ;;
    describe) printf '%s\n' "$desc" ;;
    *) "do_$verb" "$@" ;;
    esac
}
