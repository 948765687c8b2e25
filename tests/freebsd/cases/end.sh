# The end of the service.
# shellcheck shell=sh

if changing; then
    pid=$(cat /var/run/Sylvarin.pid)
    check "the service is stopped" service_stop
    soon "its process has ended" sh -c "! kill -0 $pid 2>/dev/null"
    check "the socket is gone" test ! -e /tmp/MDP0
    check "the pid file is gone" test ! -e /var/run/Sylvarin.pid
    unanswered=0
    mdp read 1000 >/dev/null 2>&1 || unanswered=$?
    same "mdp tells that nobody answers" 3 "$unanswered"
fi
