#!/bin/sh
# Brings the active version back to its default state: removes the settings files that a backup of them
# holds. A list that names anything else is damaged, and then nothing is removed.
set -eu
# shellcheck source=../instrument.sh
. /etc/update/instrument.sh
log_file=$maintenance_log

list=/etc/update/backup-files.txt
[ -r "$list" ] || fail "$list is missing"
set --
while read -r file || [ -n "$file" ]; do
    case $file in
    '' | '#'*) continue ;;
    esac
    need_settings_file "$file"
    set -- "$@" "$file"
done <"$list"
[ $# -gt 0 ] || fail "$list names no file"
remove_files "$@"
result="ok, the $# files of $list removed"
