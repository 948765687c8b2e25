# Processor, board, drives and discs.
# shellcheck shell=sh

cpu=$(data "$(module 11)" 1)
same "frequency of the processor" "$(clock_rate)" "$(value "$cpu:1")"
check "load of the processor" test "$(value "$cpu:2")" -ge 0 -a "$(value "$cpu:2")" -le 100

# The board's modules belong to its hardware access device; without one they are not there, but for what Debian's kernel
# tells of fans.
modules_of() { # TYPE
    mdp modules | awk -v type="$(printf '0x%04X' "$1")" '$2 == type' | grep -c .
}
if [ -e /dev/hwapi ]; then
    board=$(module 28)
    check "name of the board" test -n "$(value "$(data "$board" 1):1")"
    check "voltages of the board" test "$(value "$(data "$board" 5):0")" -ge 0
else
    same "fans" "$(fans)" "$(modules_of 27)"
    same "no supplies of EtherCAT P" 0 "$(modules_of 34)"
    same "no UPS" 0 "$(modules_of 30)"
fi
same "no module of other systems" 0 "$(modules_of 256)"

discs=$(module 29)
for row in $(seq "$(value "$(data "$discs" 1):0")"); do
    path=$(value "$(data "$discs" 1):$row")
    case $path in
    /*) near "size of $path" "$(df -Pk "$path" | awk 'NR == 2 { print $2 * 1024 }')" "$(value "$(data "$discs" 5):$row")" 1048576 ;;
    esac
done

monitoring=$(module 32)
same "drives are counted" "$(drives)" "$(value "$(data "$monitoring" 1):0")"
