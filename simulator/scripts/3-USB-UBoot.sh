#!/bin/sh
# Writes U-Boot, both copies. Being the first image of an update it makes the partitions of a blank board.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

# The list ends with p2: while that is missing the board counts as blank and is rebuilt from the start.
make_partitions() {
    while read -r name size; do
        truncate -s "$size" "/dev/mmcblk0$name" || fail "/dev/mmcblk0$name cannot be made"
    done </etc/update/partitions.txt
    sync /dev
}

need_checked || fail "$why"
[ -e /dev/mmcblk0p2 ] || make_partitions
write_image u-boot.img
