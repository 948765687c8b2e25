# The operating system and its memory.
# shellcheck shell=sh

os=$(module 24)
near "uptime" "$(uptime_seconds)" "$(value "$(data "$os" 2):1")" 5

memory=$(module 12)
total=$(value "$(data "$memory" 1):6")
available=$(value "$(data "$memory" 1):7")
near "total memory" "$(memory_total)" "$total" "$total / 50"
check "some of it is available, and no more than all" test "$available" -gt 0 -a "$available" -lt "$total"
