# Clock and zone against date.
# shellcheck shell=sh

clock=$(data "$(module 3)" 1)
near "seconds since 1970" "$(date +%s)" "$(value "$clock:3")" 5
same "the text of the time begins with the local date and hour" "$(date +%Y-%m-%dT%H)" "$(value "$clock:4" | cut -c1-13)"
same "and ends with the offset" "$(date +%z)" "$(value "$clock:4" | sed 's/.*\([-+]..\):\(..\)$/\1\2/')"
[ ! -s /var/db/zoneinfo ] || same "zone" "$(cat /var/db/zoneinfo)" "$(mdp zone)"

if changing && mdp zone list Europe/Berlin | grep -q 'Europe/Berlin$'; then
    old_zone=$(cat /var/db/zoneinfo 2>/dev/null || echo UTC)
    check "a zone is selected" mdp zone set Europe/Berlin
    same "date follows it" "$(TZ=Europe/Berlin date +%Y-%m-%dT%H%z)" "$(date +%Y-%m-%dT%H%z)"
    same "the machine notes its name" Europe/Berlin "$(cat /var/db/zoneinfo)"
    same "it is shown" Europe/Berlin "$(mdp zone)"
    same "the service follows it at once" "$(date +%z)" "$(value "$clock:4" | sed 's/.*\([-+]..\):\(..\)$/\1\2/')"
    check "the old zone is selected" mdp zone set "$old_zone"
fi
if changing && [ -f /etc/ntp.conf ]; then
    cp -p /etc/ntp.conf "$work/ntp.conf"
    check "a time server is set" mdp ntp set ntp.example
    check "ntp.conf has it" grep -Eq '^(server|pool) ntp\.example' /etc/ntp.conf
    check "rc.conf starts the daemon" grep -q '^ntpd_enable="YES"' /etc/rc.conf
    check "it is shown" sh -c "mdp ntp | grep -q '^ntp\.example '"
    check "none is set" mdp ntp set off
    check "rc.conf does not start the daemon" grep -q '^ntpd_enable="NO"' /etc/rc.conf
    cat "$work/ntp.conf" >/etc/ntp.conf
fi
