# The gateway, where it is installed: as its own account, against mdp and the accounts of the machine.
# shellcheck shell=sh

# http METHOD PATH [BODY [HEADER]]: the answer, headers first, of the gateway to a request of this machine.
http() {
    http_body=${3:-}
    {
        printf '%s %s HTTP/1.1\r\nConnection: close\r\n' "$1" "$2"
        case ${4:-} in Host:*) ;; *) printf 'Host: localhost\r\n' ;; esac
        [ -z "${4:-}" ] || printf '%s\r\n' "$4"
        [ "$1" = GET ] || printf 'Content-Type: application/json\r\nContent-Length: %s\r\n' "${#http_body}"
        printf '\r\n%s' "$http_body"
    } >"$work/request"
    talk 127.0.0.1 8088 <"$work/request" 2>/dev/null | tr -d '\r'
}

# answers STATUS TEXT METHOD PATH [BODY [HEADER]]: the answer has this status and holds the text.
answers() {
    answers_status=$1 answers_text=$2
    shift 2
    http "$@" >"$work/answer"
    head -n 40 "$work/answer"
    grep -q "^HTTP/1.1 $answers_status " "$work/answer" && grep -qF -e "$answers_text" "$work/answer"
}

metric() { # NAME: its value
    http GET /metrics | sed -n "s/^$1 //p"
}

sign_in() { # PASSWORD: leaves the header that a browser would send with what follows
    sign_in_body="{\"user\":\"sylgate\",\"password\":\"$1\"}"
    http POST /api/v1/session "$sign_in_body" >"$work/answer"
    cookie=$(sed -n 's/^Set-Cookie: \([^;]*\);.*/Cookie: \1/p' "$work/answer")
    grep -q '^HTTP/1.1 200 ' "$work/answer"
}

if [ ! -x "$prefix/bin/sylvarin-gateway" ]; then
    echo "# no gateway is installed"
elif changing || answers 200 "" GET /metrics >/dev/null; then
    ! changing || check "the gateway starts" gateway_start ""
    soon "the metrics tell that the service answers" answers 200 "sylvarin_up 1" GET /metrics
    same "the gateway runs as its own account alone" "$(id -u sylvarin-gateway)" \
        "$(ps -ax -o uid= -o comm= | awk '$2 ~ /^sylvarin-gate/ { print $1 }')"
    same "the metrics tell the memory" "$(value "$(data "$(module 12)" 1):6")" \
        "$(metric sylvarin_memory_size_bytes | awk '{ printf "%.0f\n", $1 }')"
    check "the page is there" answers 200 '<script type="module"' GET /
    check "and what draws its plots" answers 200 uPlot GET /uplot/uPlot.esm.js
    check "the name of the machine is answered" answers 200 "\"value\":\"$(hostname)\"" GET /api/v1/objects/1008/0
    check "the interface is described" answers 200 "openapi: 3" GET /api/v1/openapi.yaml
    check "another name than the machine's is refused" answers 421 "" GET / "" "Host: evil.example"
fi
if changing && [ -x "$prefix/bin/sylvarin-gateway" ]; then
    name_before=$(hostname)
    change_name="{\"old\":\"$name_before\",\"new\":\"press-47\"}"
    check "nobody changes anything" answers 403 "only reads" PUT /api/v1/objects/1008/0 "$change_name"

    echo "Quiet-Harbour-7" >"$work/password"
    check "an editor has an account" mdp user add sylgate --password-fd 0 <"$work/password"
    check "the editors have a group" mdp group add sylgates
    check "the editor is in it" mdp group join sylgates sylgate
    check "the gateway restarts for editors" gateway_start "--editors sylgates"
    soon "it answers again" answers 200 "sylvarin_up 1" GET /metrics
    ! sign_in "Quiet-Harbour-8"
    same "a wrong password is refused" "HTTP/1.1 401 Unauthorized" "$(head -n 1 "$work/answer")"
    check "who has not signed in changes nothing" answers 401 "" PUT /api/v1/objects/1008/0 "$change_name"
    if ! gateway_checks_passwords; then
        ! sign_in "Quiet-Harbour-7"
        same "only root can check a password" "HTTP/1.1 401 Unauthorized" "$(head -n 1 "$work/answer")"
        gateway_gets_a_module "Quiet-Harbour-7"
    fi
    check "the password of the account opens" sign_in "Quiet-Harbour-7"
    check "the editor changes the name of the machine" \
        answers 200 press-47 PUT /api/v1/objects/1008/0 "$change_name" "$cookie"
    same "which has it" press-47 "$(hostname)"
    check "the name before is set" mdp write 1008:0 "$name_before"
    check "the editor signs out" answers 204 "" DELETE /api/v1/session "" "$cookie"
    check "and changes nothing any more" answers 401 "" PUT /api/v1/objects/1008/0 "$change_name" "$cookie"
    check "the editors' group goes" mdp group del sylgates
    check "the editor's account goes" mdp user del sylgate
    check "the gateway stops" gateway_stop
    soon "nobody answers there" sh -c '! ps -axo comm= | grep -q "^sylvarin-gate"'
fi
