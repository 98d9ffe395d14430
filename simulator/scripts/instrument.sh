# Sourced by every script of this directory: where things lie, which version the update goes to, how
# a slot is written, and how a script ends. What of an update is believed is in signature.sh.
# shellcheck shell=sh disable=SC2034 # the scripts that source this read the variables

recovery=/mnt/recovery
stick_update=/media/usb0/update
network_update=$recovery/update_files/update
archive=$recovery/download/update.zip
backup=$recovery/backup/userfiles.tgz
userdata=/mnt/userdata
partition_file=$recovery/download/partition_c
display_setting=/etc/display-size
maintenance_log=/var/log/maintenance.log

marker=/tmp/verifyFailed               # read by the program: its existence rejects the update
network_marker=/tmp/networkUpdate      # left by the unzip script for those that follow
restore_marker=/tmp/userFilesToRestore # the new version may not start before it has its user files
early_log=/tmp/update.log              # lines logged before the update's source is known

images='u-boot.img kernel.img recovery-kernel.img recoveryfs.img rootfs.img'

# Never the stick's files in a network update or the other way round, even if one has vanished.
if [ -e "$network_marker" ]; then update_dir=$network_update; else update_dir=$stick_update; fi
log_file=$update_dir/update.log

# An update goes to the version partition after the active one. A partition file that names none is
# damaged: then no partition may be written, for any may be the active one.
active=none target=1 target_kernel=/dev/mmcblk0p4
if [ -e "$partition_file" ]; then
    active=$(head -c 16 "$partition_file") || :
    case $active in
    1) target=7 target_kernel=/dev/mmcblk0p5 ;;
    7) target=8 target_kernel=/dev/mmcblk0p6 ;;
    8) ;;
    *) active=damaged target='' target_kernel='' ;;
    esac
fi
target_manifest=$recovery/update_files/${target}manifest.txt

know_target() {
    [ -n "$target" ] || because "$partition_file names no version partition"
}

need_target() {
    know_target || fail "$why"
}

# The slots of an image, in the order in which they are written. The ROM starts boot1 when boot0 is
# damaged, so with boot1 first one of the two is always whole.
slots_of() {
    case $1 in
    u-boot.img) echo /dev/mmcblk0boot1 /dev/mmcblk0boot0 ;;
    kernel.img) echo "$target_kernel" ;;
    recovery-kernel.img) echo /dev/mmcblk0p3 ;;
    recoveryfs.img) echo /dev/mmcblk0p2 ;;
    rootfs.img) echo "/dev/mmcblk0p$target" ;;
    esac
}

# The places through which an image goes: before its slots that of the root file system, which is written last.
places_of() {
    echo "/dev/mmcblk0p$target" "$(slots_of "$1")"
}

size_of() {
    if [ -b "$1" ]; then
        blockdev --getsize64 "$1"
    else
        stat -L -c %s "$1"
    fi
}

# How many bytes a slot has, or will have on a blank board; nothing if there is none.
slot_size() {
    if [ -e "$1" ]; then
        size_of "$1"
    elif [ ! -e /dev/mmcblk0p2 ]; then
        megabytes=$(sed -n "s/^${1#/dev/mmcblk0} \(.*\)M$/\1/p" /etc/update/partitions.txt)
        echo $((${megabytes:-0} * 1048576))
    fi
}

# How many bytes a file of an update may have.
limit_of() {
    limit=$small
    case $1 in
    *.img) for slot in $(slots_of "$1"); do limit=$(slot_size "$slot"); done ;;
    esac
    echo "${limit:-0}"
}

# The sum of standard input.
sum() {
    sha256sum | cut -d ' ' -f 1
}

# Whether a slot begins with an image of the update; what follows it in the slot means nothing.
slot_holds() {
    [ -s "$work/$1.size" ] && [ -e "$2" ] &&
        [ "$(head -c "$(cat "$work/$1.size")" "$2" | sum)" = "$(listed_sum "$1")" ]
}

# Writes standard input to a slot, and sees to it that the storage is read next and not the cache.
write_slot() {
    dd of="$1" ibs=64k obs=1M conv=notrunc,fsync status=none || return
    dd if="$1" iflag=nocache count=0 status=none || :
}

# A version that is half written must not look installed.
forget_target_version() {
    rm -f "$target_manifest"
    sync "$recovery/update_files"
}

# Reads an image from the update once more, into the slot of the root file system: that is the update's own and
# written last, so a stick that has changed since it was checked gets no further.
fetch_image() {
    size=$(size_of "$update_dir/$1")
    echo "$size" >"$work/$1.size"
    read_file "$update_dir/$1" "$size" | { tee /proc/self/fd/3 | sum >"$work/read"; } 3>&1 |
        write_slot "$2" || fail "$2 cannot be written"
    [ "$(cat "$work/read")" = "$(listed_sum "$1")" ] || fail "$1 has changed since it was checked"
    slot_holds "$1" "$2" || fail "$2 does not hold $1 after writing"
}

copy_image() {
    head -c "$size" "$2" | write_slot "$3" || fail "$3 cannot be written"
    slot_holds "$1" "$3" || fail "$3 does not hold $1 after writing"
}

write_image() {
    need_target
    need_checked || fail "$why"
    need_file "$update_dir/$1" || fail "$why"
    for slot in $(places_of "$1"); do
        [ -w "$slot" ] || fail "$slot is missing or read-only"
        [ "$(size_of "$update_dir/$1")" -le "$(size_of "$slot")" ] || fail "$1 does not fit in $slot"
    done
    forget_target_version
    rootfs_slot=$(slots_of rootfs.img)
    fetch_image "$1" "$rootfs_slot"
    for slot in $(slots_of "$1"); do
        [ "$slot" = "$rootfs_slot" ] || copy_image "$1" "$rootfs_slot" "$slot"
    done
}

manifest_value() {
    tr -d '\r' <"$trusted/manifest.txt" | sed -n "s/^$1=//p" | tail -n 1
}

# Puts FILE.new in the place of FILE in one step: power lost at any moment leaves the old file or the
# new one.
commit_file() {
    # on a stick with FAT the new name stands for an empty file until the file itself is synced once more
    sync "$1.new" && mv "$1.new" "$1" && sync "$1" "$(dirname "$1")"
}

# The same with what standard input brings.
replace_file() {
    cat >"$1.new" && commit_file "$1"
}

# Gives the target version the user files that a command leaves in the directory it runs in.
replace_user_files() {
    need_target
    fresh=$userdata/$target.new
    rm -rf "$fresh"
    mkdir -p "$fresh"
    (cd "$fresh" && "$@") || fail "the user files of partition $target cannot be written"
    find "$fresh" \( -type f -o -type d \) -exec sync {} +
    rm -rf "${userdata:?}/$target"
    mv "$fresh" "$userdata/$target"
    sync "$userdata"
}

# Keeps of a downloaded update only its log, which the screen refers to.
drop_download() {
    rm -f "$archive" "$archive.minisig"
    find "$network_update" -mindepth 1 -maxdepth 1 ! -name '*.log' -exec rm -rf {} +
}

# Takes a file that is about to be removed: by its full path, and nothing that holds other files.
need_settings_file() {
    case $1/ in
    */../* | [!/]* | /) fail "$1 is no full path" ;;
    esac
    [ ! -d "$1" ] || fail "$1 is a directory"
}

# Removes files for good; one that is not there has been removed before.
remove_files() {
    for file; do
        rm -f "$file" || fail "$file cannot be removed"
        [ ! -d "${file%/*}" ] || sync "${file%/*}"
    done
}

fail() {
    result="FAILED: $1"
    exit 1
}

# What is logged may hold the name of a file, and that may hold anything.
one_line() {
    printf %s "$1" | tr '[:cntrl:]' '?'
}

# Rejects the update, with the reason.
reject() {
    printf '%s\n' "$(one_line "$1")" >"$marker"
    result="REJECTED: $1"
    exit 3
}

# One line in the log of the update, which lies beside its files, or in the recovery area if the stick
# has been pulled or its log is no plain file.
log_result() {
    line="$(date '+%Y-%m-%d %H:%M:%S') ${0##*/}: $(one_line "$result$note")"
    if [ "$log_file" != "$early_log" ] && [ -f "$early_log" ] && [ ! -L "$early_log" ]; then
        line=$(cat "$early_log" && echo "$line")
    fi
    append_to "$log_file" "$line" || append_to "$network_update/${log_file##*/}" "$line" || return
    [ "$log_file" = "$early_log" ] || rm -f "$early_log"
}

conclude() {
    [ "$1" -eq 0 ] || [ "$result" != ok ] || result="FAILED: ended with status $1"
    log_result || :
}

# Nothing can be logged once the instrument goes down.
restart() {
    log_result || :
    trap - EXIT
    /sbin/reboot
}

# shellcheck source=signature.sh
. /etc/update/signature.sh

result=ok note=
trap 'conclude $?' EXIT
