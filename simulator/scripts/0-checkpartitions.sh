#!/bin/sh
# Starts an update afresh: no verdict of an earlier one, nothing that it was believed, nothing half written by
# one that lost power.
# Then looks whether every slot is there; on a blank board there are none yet.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh
log_file=$early_log

rm -f "$marker" "$network_marker" "$restore_marker" "$early_log"
rm -rf "$work" "$partition_file.new" "$backup.new" "$userdata"/[178].new "$recovery"/update_files/[178]manifest.txt.new

if [ ! -e /dev/mmcblk0p2 ]; then
    result='ok, blank board'
    exit 0
fi
need_target
for name in boot0 boot1 $(cut -d ' ' -f 1 /etc/update/partitions.txt); do
    [ -w "/dev/mmcblk0$name" ] || fail "/dev/mmcblk0$name is missing or read-only"
done
