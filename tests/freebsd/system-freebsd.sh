# What FreeBSD's own commands tell, and how its services are started. Sourced.
# shellcheck shell=sh

# The texts of SMBIOS, by their names in the kernel environment.
smbios() {
    kenv -q "smbios.$1"
}

adapters() {
    ifconfig -l | tr ' ' '\n' | grep -v '^lo'
}

address_of() {
    ifconfig "$1" | awk '$1 == "inet" { print $2; exit }'
}

mask_of() {
    ifconfig -f inet:dotted "$1" | awk '$1 == "inet" { print $4; exit }'
}

mac_of() {
    ifconfig "$1" | awk '$1 == "ether" { print $2; exit }'
}

default_router() {
    netstat -rn -f inet | awk '$1 == "default" { print $2; exit }'
}

packages() {
    pkg query -a "%n;%v;%o"
}

memory_total() { # bytes
    sysctl -n vm.stats.vm.v_page_size vm.stats.vm.v_wire_count vm.stats.vm.v_cache_count vm.stats.vm.v_free_count \
        vm.stats.vm.v_inactive_count vm.stats.vm.v_active_count |
        awk 'NR == 1 { page = $1; next } { pages += $1 } END { printf "%.0f\n", pages * page }'
}

uptime_seconds() {
    echo $(($(date +%s) - $(sysctl -n kern.boottime | sed 's/^{ sec = \([0-9]*\).*/\1/')))
}

clock_rate() { # MHz of the processor
    sysctl -n hw.clockrate
}

service_start() {
    service sylvarin onestart
}

service_stop() {
    service sylvarin onestop
}

log_file=/var/log/messages
log_begin() { :; }
