# Processor, drives and discs.
# shellcheck shell=sh

cpu=$(data "$(module 11)" 1)
same "frequency of the processor" "$(clock_rate)" "$(value "$cpu:1")"
check "load of the processor" test "$(value "$cpu:2")" -ge 0 -a "$(value "$cpu:2")" -le 100

discs=$(module 29)
for row in $(seq "$(value "$(data "$discs" 1):0")"); do
    path=$(value "$(data "$discs" 1):$row")
    case $path in
    /*) near "size of $path" "$(df -Pk "$path" | awk 'NR == 2 { print $2 * 1024 }')" "$(value "$(data "$discs" 5):$row")" 1048576 ;;
    esac
done

drives=$(module 32)
check "drives are counted" test "$(value "$(data "$drives" 1):0")" -ge 0
