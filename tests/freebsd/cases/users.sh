# Accounts and groups against the system's own databases.
# shellcheck shell=sh

users=$(module 4)
count=$(value "$(data "$users" 1):0")
names=$(for row in $(seq "$count"); do value "$(data "$users" 1):$row"; done)
for name in $names; do
    id "$name" >/dev/null 2>&1 || fail "user $name exists" "the system does not know it"
done
check "root is a user" sh -c "echo '$names' | grep -qx root"
