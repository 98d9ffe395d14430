#!/bin/sh
# Makes another installed version the active one: the argument is its version partition, 1, 7 or 8.
set -eu
# shellcheck source=../instrument.sh
. /etc/update/instrument.sh
log_file=$maintenance_log

[ $# -eq 1 ] || fail 'takes one argument, the version partition'
case $1 in
1) kernel=/dev/mmcblk0p4 ;;
7) kernel=/dev/mmcblk0p5 ;;
8) kernel=/dev/mmcblk0p6 ;;
*) fail "$1 is no version partition" ;;
esac

# An update takes the manifest away before it writes the first slot, and puts it back after the last.
for part in "$recovery/update_files/$1manifest.txt" "$kernel" "/dev/mmcblk0p$1" "$userdata/$1"; do
    [ -e "$part" ] || fail "partition $1 holds no version ($part is missing), partition $active stays active"
done
echo "$1" | replace_file "$partition_file" || fail "$partition_file cannot be written"
result="ok, partition $1 is active after $active"
