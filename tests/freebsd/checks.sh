# What the cases are written with. Sourced; it counts in $passed and $failed.
# shellcheck shell=sh

pass() { # NAME
    passed=$((passed + 1))
    echo "ok - $1"
}

fail() { # NAME WHY
    failed=$((failed + 1))
    echo "not ok - $1: $2"
}

# same NAME EXPECTED ACTUAL: the two texts are equal, and there is something to compare.
same() {
    if [ -z "$2" ]; then
        fail "$1" "the system itself gives nothing to compare with '$3'"
    elif [ "$2" = "$3" ]; then
        pass "$1"
    else
        fail "$1" "expected '$2', was '$3'"
    fi
}

# near NAME EXPECTED ACTUAL DISTANCE: two numbers that may differ by DISTANCE, as they were asked for one after the other.
near() {
    if awk "BEGIN { d = ($2) - ($3); exit !(d <= ($4) && -d <= ($4)) }" 2>/dev/null; then
        pass "$1"
    else
        fail "$1" "expected about '$2', was '$3'"
    fi
}

# check NAME COMMAND...: the command succeeds.
check() {
    check_name=$1
    shift
    if "$@" >"$work/output" 2>&1; then
        pass "$check_name"
    else
        fail "$check_name" "status $? of: $*: $(head -n 3 "$work/output")"
    fi
}

# refused NAME CODE COMMAND...: mdp tells that the service answered with this code.
refused() {
    refused_name=$1 refused_code=$2
    shift 2
    refused_status=0
    "$@" >"$work/output" 2>&1 || refused_status=$?
    if [ "$refused_status" -eq 1 ] && grep -q "$refused_code" "$work/output"; then
        pass "$refused_name"
    else
        fail "$refused_name" "status $refused_status: $(head -n 3 "$work/output")"
    fi
}

# soon NAME COMMAND...: the command succeeds within half a minute.
soon() {
    soon_name=$1
    shift
    for _ in $(seq 60); do
        if "$@" >"$work/output" 2>&1; then
            pass "$soon_name"
            return
        fi
        sleep 0.5
    done
    fail "$soon_name" "not within 30 seconds: $*: $(head -n 3 "$work/output")"
}

# What an entry holds: a number in decimal digits, or a text without quotes.
value() { # INDEX[:SUB]
    mdp read "$1" 2>/dev/null | sed 's/^"\(.*\)"$/\1/'
}

# The index of the first module of a type, or of that type with that name.
module() { # TYPE [NAME]
    mdp modules | awk -v type="$(printf '0x%04X' "$1")" -v name="${2:-}" '$2 == type && (name == "" || $NF == name) { print $1; exit }'
}

# An object of a module, from the index of its header: data object K is 0x8nnK, service object K is 0xBnnK.
data() { # HEADER K
    printf '%04X' $(($1 + $2))
}

service_object() { # HEADER K
    printf '%04X' $(($1 + 0x3000 + $2))
}

changing() {
    [ -n "$changes" ]
}
