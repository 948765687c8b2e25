# The start of the service, and a second one beside it.
# shellcheck shell=sh

if changing; then
    log_begin
    ! [ -S /tmp/MDP0 ] || service_stop >/dev/null 2>&1
    soon "no socket is there before the start" test ! -e /tmp/MDP0
    # Through cat: a daemon that kept its output would be waited for.
    start_through_pipe() {
        service_start | cat
    }
    check "the service starts and lets its starter go" start_through_pipe
    soon "the next command finds the socket" test -S /tmp/MDP0
    soon "the service answers" mdp read 1000
    soon "the start stands in the system log" grep -q 'Sylvarin.*Info: Sylvarin started' "$log_file"
    check "the pid file holds the process" kill -0 "$(cat /var/run/Sylvarin.pid)"
fi

second_status=0
"$prefix/bin/sylvarin" >/dev/null 2>&1 || second_status=$?
same "a second instance ends with status 1" 1 "$second_status"
! changing || soon "and says so in the system log" grep -q 'Sylvarin.*Info: Sylvarin is already running!' "$log_file"
check "the first one still answers" mdp read 1000
