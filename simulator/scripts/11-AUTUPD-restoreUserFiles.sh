#!/bin/sh
# Gives the new version the user files that were saved from the active one.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

if [ "$active" = none ]; then
    result='ok, no version was active'
    exit 0
fi
if [ ! -e "$restore_marker" ]; then
    : >"$restore_marker"
    fail 'no user files were saved in this update'
fi
[ -f "$backup" ] || fail 'there is no backup'
replace_user_files tar -xzf "$backup"
tar -dzf "$backup" -C "$userdata/$target" || fail 'the restored user files differ from the backup'
rm -f "$restore_marker"
