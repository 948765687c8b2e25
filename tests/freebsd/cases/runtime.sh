# The automation runtime, with or without it on the machine.
# shellcheck shell=sh

runtime=$(module 8)
same "the module is there" Zelmora "$(value "$runtime:3")"
same "its routes are counted" "$(mdp routes | tail -n +2 | grep -c .)" "$(value "$(data "$runtime" 2):0")"
