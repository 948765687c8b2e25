# What the device is, against the texts of SMBIOS and the host name.
# shellcheck shell=sh

same "device type" 655365001 "$(value 1000)"
same "device name is the host name" "$(hostname)" "$(value 1008)"
same "hardware version is product, version and date" \
    "$(smbios system.product);v$(smbios system.version);$(smbios chassis.tag)" "$(value 1009)"
same "serial number" "$(smbios system.serial)" "$(value F9F0)"
build=$(sed -n '1s/.*ZMBSD_BUILD=//p' /etc/os-release.d/666-vth 2>/dev/null)
same "software version is that of the image" "${build:-???}" "$(value 100A)"
same "vendor" 0x00000002 "$(value 1018:1)"
refused "there is no product code" OBJ_E_NOTSUPPORTED mdp read 1018:2
refused "an object that does not exist" OBJ_E_INVALIDIDX mdp read 7777

if changing; then
    old_name=$(hostname)
    check "a device name is written" mdp write 1008 box-4712
    same "the host has that name" box-4712 "$(hostname)"
    same "rc.conf has it" 'hostname="box-4712"' "$(grep '^hostname=' /etc/rc.conf)"
    same "it is read" box-4712 "$(value 1008)"
    refused "a name with a dash in front is refused" OBJ_E_INVALIDARG mdp write 1008 -- -abc
    same "the host keeps its name" box-4712 "$(hostname)"
    check "the old name is written back" mdp write 1008 "$old_name"
fi
