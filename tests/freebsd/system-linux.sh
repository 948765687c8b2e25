# What Debian's own commands tell, and how the service is started there. Sourced.
# shellcheck shell=sh

# The texts of SMBIOS, by FreeBSD's names.
smbios() {
    case $1 in
    system.product) cat /sys/class/dmi/id/product_name ;;
    system.version) cat /sys/class/dmi/id/product_version ;;
    system.serial) cat /sys/class/dmi/id/product_serial ;;
    chassis.tag) cat /sys/class/dmi/id/chassis_asset_tag ;;
    bios.version) cat /sys/class/dmi/id/bios_version ;;
    esac
}

adapters() {
    ip -o link show | awk -F ': ' '{ sub(/@.*/, "", $2); if ($2 != "lo") print $2 }'
}

address_of() {
    ip -o -4 address show dev "$1" | awk '{ sub(/\/.*/, "", $4); print $4; exit }'
}

mask_of() {
    ip -o -4 address show dev "$1" | awk '{
        sub(/.*\//, "", $4)
        for (i = 0; i < 4; ++i) {
            bits = $4 - 8 * i
            bits = bits < 0 ? 0 : bits > 8 ? 8 : bits
            printf "%s%d", i ? "." : "", 256 - 2 ^ (8 - bits)
        }
        print ""
        exit
    }'
}

mac_of() {
    cat "/sys/class/net/$1/address"
}

default_router() {
    ip -4 route show default | awk '{ print $3; exit }'
}

packages() {
    "$prefix/libexec/sylvarin/adapters/usr/sbin/pkg" query -a "%n;%v;%o"
}

memory_total() { # bytes
    awk '$1 == "MemTotal:" { printf "%.0f\n", $2 * 1024 }' /proc/meminfo
}

uptime_seconds() {
    awk '{ printf "%d\n", $1 }' /proc/uptime
}

clock_rate() { # MHz of the processor
    "$prefix/libexec/sylvarin/adapters/sbin/sysctl" -n hw.clockrate
}

# How many fans the kernel knows.
fans() {
    cat /sys/class/hwmon/hwmon*/fan*_input 2>/dev/null | grep -c .
}

# How many drives there are, ATA and NVMe.
drives() {
    {
        grep -l '^ATA' /sys/block/sd*/device/vendor
        ls -d /sys/class/nvme/nvme*
    } 2>/dev/null | grep -c .
}

service_start() {
    if [ -d /run/systemd/system ]; then
        systemctl start sylvarin
    else
        "$prefix/bin/sylvarin"
    fi
}

service_stop() {
    if [ -d /run/systemd/system ]; then
        systemctl stop sylvarin
    else
        kill "$(cat /var/run/Sylvarin.pid)"
    fi
}

# gateway_start OPTIONS: with these options, if need be again.
gateway_start() {
    gateway_stop
    if [ -d /run/systemd/system ]; then
        echo "GATEWAY_OPTIONS=\"$1\"" >/etc/default/sylvarin-gateway
        systemctl start sylvarin-gateway
        return
    fi
    # What a package and its unit do.
    systemd-sysusers "$prefix/lib/sysusers.d/sylvarin-gateway.conf"
    [ -e /etc/pam.d/sylvarin-gateway ] || cp "$prefix/etc/pam.d/sylvarin-gateway" /etc/pam.d
    "$prefix/libexec/sylvarin/wait-for-service"
    # shellcheck disable=SC2086 # options are words
    setpriv --reuid sylvarin-gateway --regid sylvarin-gateway --groups sylvarin,shadow --no-new-privs --inh-caps=-all \
        --bounding-set=-all "$prefix/bin/sylvarin-gateway" $1 >/dev/null 2>"$work/gateway.log" &
}

gateway_stop() {
    if [ -d /run/systemd/system ]; then
        systemctl stop sylvarin-gateway
    else
        pkill -x sylvarin-gatewa || :
    fi
}

# By the group that may read the shadow file.
gateway_checks_passwords() { :; }

talk() { # ADDRESS PORT: sends its input, gives the answer
    # shellcheck disable=SC2016 # for the shell that can do that
    bash -c 'exec 3<>"/dev/tcp/$0/$1" && cat >&3 && cat <&3' "$1" "$2"
}

# A throw-away machine runs no system log: the lines then go to the console, which it has not either.
log_file=/var/log/messages
log_begin() {
    if [ ! -S /dev/log ] && [ ! -e /dev/console ]; then
        mkfifo /dev/console
        log_file=$work/log
        cat <>/dev/console >"$log_file" &
        log_reader=$!
        trap 'kill "$log_reader"; rm -rf "$work" /dev/console' EXIT
    elif [ ! -e "$log_file" ]; then
        log_file=/var/log/syslog
    fi
}
