# shellcheck shell=sh disable=SC2154
# What rc.d/netif and rc.d/dhclient both ask about adapters, after FreeBSD's network.subr.

# shellcheck source=adapters/libexec/inet.sh
. "$tree/libexec/inet.sh"

# adapter_setting ADAPTER PREFIX [SUFFIX [DEFAULT]]: the value of PREFIX ADAPTER SUFFIX. Adapter names may hold characters
# that the names of settings may not.
adapter_setting() {
    setting "$2$(printf '%s' "$1" | tr './+-' '____')${3-}" "${4-}"
}

# adapter_words ADAPTER: its own settings, or those of ifconfig_DEFAULT.
adapter_words() {
    adapter_setting "$1" ifconfig_ '' "${ifconfig_DEFAULT-}"
}

# dhcp_kind ADAPTER: prints DHCP, SYNCDHCP or NOSYNCDHCP if it takes its address from a DHCP server; fails if not.
dhcp_kind() {
    case $1 in
    lo[0-9]*) return 1 ;;
    esac
    for word in $(adapter_words "$1" | tr '[:lower:]' '[:upper:]'); do
        case $word in
        DHCP | SYNCDHCP | NOSYNCDHCP)
            printf '%s\n' "$word"
            return 0
            ;;
        esac
    done
    return 1
}

dhclient_pidfile() {
    printf '/var/run/dhclient/dhclient.%s.pid\n' "$1"
}

# dhclient_pids ADAPTER: prints the numbers of all its clients, also of those that its pid file does not name.
dhclient_pids() {
    clients=''
    for pid in $(pids_of dhclient); do
        ! grep -qxzF -e "$1" "/proc/$pid/cmdline" 2>/dev/null || clients="$clients $pid"
    done
    printf '%s' "${clients# }"
}
