# Every adapter against what the system tells of it.
# shellcheck shell=sh

for adapter in $(adapters); do
    header=$(module 2 "$adapter")
    if [ -z "$header" ]; then
        fail "$adapter has a module" "it is not in: $(mdp modules | tr '\n' ';')"
        continue
    fi
    settings=$(data "$header" 1)
    same "$adapter: hardware address" "$(mac_of "$adapter")" "$(value "$settings:1" | tr "[:upper:]" "[:lower:]")"
    address=$(address_of "$adapter")
    if [ -n "$address" ]; then
        same "$adapter: address" "$address" "$(value "$settings:2")"
        same "$adapter: mask" "$(mask_of "$adapter")" "$(value "$settings:3")"
    fi
    case $(sed -n "s/^ifconfig_$adapter=//p" /etc/rc.conf) in
    *DHCP*) dhcp=true ;;
    "") dhcp= ;;
    *) dhcp=false ;;
    esac
    [ -z "$dhcp" ] || same "$adapter: DHCP as in rc.conf" "$dhcp" "$(value "$settings:4")"
done
if [ -n "$(default_router)" ]; then
    check "an adapter has the default router" sh -c "mdp net | grep -qF ' $(default_router) '"
fi

has_address() { # ADAPTER ADDRESS
    [ "$(address_of "$1")" = "$2" ]
}

has_router() {
    [ "$(default_router)" = "$1" ]
}

if changing; then
    cp -p /etc/rc.conf "$work/rc.conf"
    echo 'foreign_setting="stays as it is" # with its comment' >>/etc/rc.conf
    # A DHCP server's router goes where the network restarts and rc.conf names one.
    router=$(sed -n 's/^defaultrouter="\(.*\)"/\1/p' /etc/rc.conf)
    [ -n "$router" ] || router=$(default_router)
    static=$(sed -n 's/^ifconfig_\([a-z0-9]*\)="inet .*/\1/p' /etc/rc.conf | head -n 1)
    old_address=$(address_of "$static")
    new_address=${old_address%.*}.77
    check "$static: an address is set" mdp net set "$static" --address "$new_address"
    soon "$static: the system has it" has_address "$static" "$new_address"
    check "$static: rc.conf has it" grep -q "^ifconfig_$static=.*$new_address" /etc/rc.conf
    same "$static: it is read" "$new_address" "$(value "$(data "$(module 2 "$static")" 1):2")"
    soon "the default route stands again" has_router "$router"
    check "the address is set back" mdp net set "$static" --address "$old_address"
    soon "the system has it again" has_address "$static" "$old_address"
    soon "with the default route" has_router "$router"
    refused "an address that is none is refused" OBJ_E mdp write "$(data "$(module 2 "$static")" 1):2" 300.1.1.1
    check "a foreign line of rc.conf is as it was" grep -qxF 'foreign_setting="stays as it is" # with its comment' /etc/rc.conf
    sed '/^foreign_setting=/d' /etc/rc.conf >"$work/rc.conf.now"
    same "all other lines are as they were" "$(grep -v "^ifconfig_$static=\|^defaultrouter=\|^hostname=" "$work/rc.conf")" \
        "$(grep -v "^ifconfig_$static=\|^defaultrouter=\|^hostname=" "$work/rc.conf.now")"
    cat "$work/rc.conf" >/etc/rc.conf
fi
