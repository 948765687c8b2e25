# shellcheck shell=sh
# What every program of this tree needs; sourced by its path relative to $0.

# The service starts these programs without any environment.
PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
LC_ALL=C
export PATH LC_ALL

# warn TEXT: one line on standard error, as warnx(3) writes it.
warn() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
}

# die STATUS TEXT
die() {
    warn "$2"
    exit "$1"
}

# clean_up_at_end: has the file $beside deleted however the program ends, also by a signal. Called before that is made.
clean_up_at_end() {
    beside=''
    trap clean_up EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
}

clean_up() {
    [ -z "$beside" ] || rm -f -- "$beside"
    beside=''
}

# replace_file FILE MODE: standard input becomes its text, at once and whole; a link is not written through. After
# clean_up_at_end, and not in a pipe: what its shell notes would be lost. The name beside is always the same one: after a
# kill the next run takes it.
replace_file() {
    beside=${1%/*}/.${1##*/}.new
    rm -f -- "$beside" && cat >"$beside" && chmod "$2" "$beside" && mv -f -- "$beside" "$1" || { clean_up; return 1; }
    beside=''
}

# take_lock NAME SECONDS: waits for its turn, which lasts as long as descriptor 9 is open; fails if it does not come in
# that time. The service runs programs from threads that do not wait for each other. Nobody but root can open the lock.
take_lock() {
    [ -w /run ] || return 0
    [ -e "/run/$1.lock" ] || (umask 077 && : >>"/run/$1.lock")
    exec 9<>"/run/$1.lock" && flock -w "$2" 9
}

# release_lock: before the program waits for something that others may end.
release_lock() {
    flock -u 9 2>/dev/null || :
}
