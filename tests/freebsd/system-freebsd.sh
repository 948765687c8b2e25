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

# Fans are the board's own there.
fans() {
    echo 0
}

# How many drives there are, ATA and NVMe.
drives() {
    find /dev -maxdepth 1 | grep -c -E '/(ada|nvme)[0-9]+$'
}

service_start() {
    service sylvarin onestart
}

service_stop() {
    service sylvarin onestop
}

# gateway_start OPTIONS: with these options, if need be again, as the account that sylvarin-gateway(8) tells to make.
gateway_start() {
    pw groupshow sylvarin >/dev/null 2>&1 || pw groupadd sylvarin
    pw usershow sylvarin-gateway >/dev/null 2>&1 ||
        pw useradd sylvarin-gateway -c "The machine over HTTP" -d /nonexistent -s /usr/sbin/nologin -G sylvarin
    "$prefix/libexec/sylvarin/wait-for-service" # opens the socket to the group
    sysrc sylvarin_gateway_flags="$1" >/dev/null
    gateway_stop
    service sylvarin_gateway onestart | cat
}

gateway_stop() {
    ! service sylvarin_gateway onestatus >/dev/null 2>&1 || service sylvarin_gateway onestop
}

# Only root reads the password file.
gateway_checks_passwords() {
    false
}

# gateway_gets_a_module PASSWORD: a module of PAM that needs no root, for one password.
gateway_gets_a_module() {
    printf '#!/bin/sh\n[ "$(tr -d "\\000")" = %s ]\n' "$1" >/var/tmp/check-password
    chmod 755 /var/tmp/check-password
    printf '%s\n' 'auth required pam_exec.so expose_authtok /var/tmp/check-password' 'account required pam_permit.so' \
        >/etc/pam.d/sylvarin-gateway
}

talk() { # ADDRESS PORT: sends its input, gives the answer
    nc "$1" "$2"
}

log_file=/var/log/messages
log_begin() { :; }
