#!/bin/sh
# Makes what an update needs in the recovery area and tries that it can be written. The program goes
# on only after exit code 0: without a recovery area, or without an update, nothing may be touched. The rebuild of a
# blank board runs no check before it writes, so the update is checked here.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh
log_file=$early_log

mkdir -p "$recovery/download" "$recovery/backup" "$network_update" || fail "$recovery cannot be written"
echo try | replace_file "$recovery/try" || fail "$recovery cannot be written"
[ "$(cat "$recovery/try")" = try ] || fail "$recovery does not hold what is written to it"
rm -f "$recovery/try"

[ -d "$stick_update" ] || [ -f "$archive" ] || fail 'there is no update: no stick, and nothing downloaded'
[ -e /dev/mmcblk0p2 ] || check_update || reject "$why"
