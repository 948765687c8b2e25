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

# take_lock NAME [SECONDS]: waits for its turn, or goes on without it after that many seconds. The turn lasts as long as
# descriptor 9 is open. The service runs programs from threads that do not wait for each other.
take_lock() {
    [ ! -w /run ] || { exec 9>"/run/$1.lock" && flock ${2:+-w "$2"} 9 || :; }
}
