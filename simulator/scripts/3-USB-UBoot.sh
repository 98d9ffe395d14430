#!/bin/sh
# Writes U-Boot, both copies. Being the first image of an update it makes the partitions of a blank board.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh
partition_table=/etc/update/storage.sfdisk # of an instrument whose partitions are no files

move_to() {
    mount "$1" /mnt/new && cp -a "$2/." /mnt/new && umount /mnt/new && mount "$1" "$2"
}

# A real storage is divided by its table; what lay in memory until then moves to its file systems.
divide_storage() {
    grep -v '^2:' "$partition_table" | sfdisk --quiet --wipe always /dev/mmcblk0 || fail '/dev/mmcblk0 cannot be divided'
    udevadm settle
    while read -r partition directory; do
        mke2fs -q -F -t ext4 "/dev/mmcblk0$partition" || fail "/dev/mmcblk0$partition cannot be made"
        move_to "/dev/mmcblk0$partition" "$directory" || fail "$directory cannot be moved"
    done </etc/update/filesystems.txt
    sync
    grep '^2:' "$partition_table" | sfdisk --quiet --append --force --no-reread /dev/mmcblk0 ||
        fail '/dev/mmcblk0p2 cannot be made'
    partx --add --nr 2 /dev/mmcblk0 || fail 'the kernel does not take /dev/mmcblk0p2'
    udevadm settle
}

# p2 comes last: while that is missing the board counts as blank and is rebuilt from the start. So each has its size
# and lasts before the next is made.
make_partitions() {
    if [ -e "$partition_table" ]; then
        divide_storage
        return
    fi
    while read -r name size; do
        { truncate -s "$size" "/dev/mmcblk0$name.new" && commit_file "/dev/mmcblk0$name"; } ||
            fail "/dev/mmcblk0$name cannot be made"
    done </etc/update/partitions.txt
}

need_checked || fail "$why"
[ -e /dev/mmcblk0p2 ] || make_partitions
write_image u-boot.img
