#!/bin/sh
# Saves the active version's user files for the version that the update installs. From here on the new
# version may only be started with them, so a failure here keeps the old version active.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

if [ "$active" = none ]; then
    result='ok, no version is active yet'
    exit 0
fi
: >"$restore_marker"
rm -f "$backup" # one of an earlier update must never be restored
[ -d "$userdata/$active" ] || fail "there are no user files of partition $active"
mkdir -p "${backup%/*}"
tar -czf "$backup.new" -C "$userdata/$active" . || fail 'the user files cannot be saved'
tar -dzf "$backup.new" -C "$userdata/$active" || fail 'the backup differs from the user files'
commit_file "$backup" || fail 'the backup cannot be written'
