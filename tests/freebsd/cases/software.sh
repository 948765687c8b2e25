# The manufacturer's packages against the package database.
# shellcheck shell=sh

software=$(module 10)
ours=$(packages 2>/dev/null | grep 'vth/' || :)
count=$(printf '%s' "$ours" | grep -c .)
same "as many packages as the database has of the manufacturer" "$count" "$(value "$(data "$software" 1):0")"
row=0
printf '%s\n' "$ours" | grep . >"$work/packages"
while IFS=';' read -r name version _; do
    row=$((row + 1))
    same "package $name" "$name $version" "$(value "$(data "$software" 1):$row") $(value "$(data "$software" 4):$row")"
done <"$work/packages"
