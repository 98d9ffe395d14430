#!/bin/sh
# Writes an archive for the maker's service to the root directory of the stick: all logs, the update's
# too, the manifests of the installed versions, and which version is active.
set -eu
# shellcheck source=../instrument.sh
. /etc/update/instrument.sh
log_file=$maintenance_log

stick=/media/usb0
# What is written below the mount point of a stick that has been pulled would never be seen again.
[ -d /sys/class/block/sda ] || fail 'there is no stick'

# A name of its own: the clock of an instrument without power starts at the same time again and again. A link on
# the stick would have something else written over.
name=diagnostics-$(date '+%Y%m%d-%H%M%S')
export=$stick/$name.tgz number=1
while [ -e "$export" ] || [ -L "$export" ] || [ -L "$export.new" ]; do
    number=$((number + 1))
    export=$stick/$name-$number.tgz
done

cd /
set -- var/log
for file in mnt/recovery/update_files/*manifest.txt mnt/recovery/update_files/update/*.log \
    mnt/recovery/logFiles.txt mnt/recovery/download/partition_c; do
    [ ! -f "$file" ] || set -- "$@" "$file"
done

# 1: a log grew meanwhile, 2: one cannot be read. The others are worth having all the same.
status=0
tar -czf "$export.new" -- "$@" || status=$?
if ! gzip -t "$export.new" || ! commit_file "$export"; then
    rm -f "$export.new"
    fail "$export cannot be written"
fi
[ "$status" -le 1 ] || fail "not everything can be read, ${export##*/} holds the rest"
result="ok, ${export##*/}"
