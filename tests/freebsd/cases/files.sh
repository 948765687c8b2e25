# Files through the service, in a directory of their own.
# shellcheck shell=sh

files=$work/files
mkdir "$files"
dd if=/dev/urandom of="$files/original" bs=1024 count=3000 2>/dev/null
chmod 640 "$files/original"

check "a file is sent" mdp put "$files/original" "$files/sent"
check "it arrives as it was" cmp "$files/original" "$files/sent"
check "a file is fetched" mdp get "$files/sent" "$files/fetched"
check "it arrives as it was, too" cmp "$files/original" "$files/fetched"
: >"$files/empty"
check "an empty file is fetched" mdp get "$files/empty" "$files/empty.fetched"
check "and is empty" test -e "$files/empty.fetched" -a ! -s "$files/empty.fetched"
check "a file is copied" mdp cp "$files/sent" "$files/copied"
check "the copy is the same" cmp "$files/original" "$files/copied"
check "a file is moved" mdp mv "$files/copied" "$files/moved"
check "it is there" cmp "$files/original" "$files/moved"
check "and no longer here" test ! -e "$files/copied"
check "directories are made" mdp mkdir -p "$files/one/two"
check "they are there" test -d "$files/one/two"
same "a list has them all" "empty empty.fetched fetched moved one original sent" \
    "$(mdp ls -1 "$files/*" | sed 's/[/]$//; s/.*[/]//' | sort | tr '\n' ' ' | sed 's/ $//')"

mkdir "$work/outside"
echo precious >"$work/outside/kept"
chmod 600 "$work/outside/kept"
ln -s "$work/outside" "$files/one/link"
ln -s "$work/outside/kept" "$files/one/two/link"
check "a directory is deleted with what is in it" mdp rm -r "$files/one"
check "it is gone" test ! -e "$files/one"
same "what its links pointed to is still there" precious "$(cat "$work/outside/kept")"
same "with its mode" "-rw-------" "$(ls -l "$work/outside/kept" | cut -c1-10)"
refused "a file that does not exist is not fetched" "0x" mdp rm "$files/nothing"
