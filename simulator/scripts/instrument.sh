# Sourced by every script of this directory: where things lie, which version the update goes to, how
# a slot is written, and how a script ends.
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

need_target() {
    [ -n "$target" ] || fail "$partition_file names no version partition"
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

size_of() {
    if [ -b "$1" ]; then
        blockdev --getsize64 "$1"
    else
        stat -L -c %s "$1"
    fi
}

sum_of() {
    sha256sum <"$1" | cut -d ' ' -f 1
}

# The sum that a list of sums gives for a file; nothing if the file is not in it.
listed_sum() {
    awk -v name="$2" '{ sub(/\r$/, ""); sub(/^\*/, "", $2) } $2 == name { print tolower($1); exit }' "$1"
}

# Whether a slot begins with an image of the update; what follows it in the slot means nothing.
slot_holds() {
    [ -s "$update_dir/$1" ] && [ -e "$2" ] &&
        [ "$(sum_of "$update_dir/$1")" = "$(head -c "$(size_of "$update_dir/$1")" "$2" | sum_of /dev/stdin)" ]
}

write_slot() {
    dd if="$update_dir/$1" of="$2" bs=1M conv=notrunc,fsync status=none || fail "$2 cannot be written"
    dd if="$2" iflag=nocache count=0 status=none || : # so that the storage is read back, not the cache
    slot_holds "$1" "$2" || fail "$2 does not hold $1 after writing"
}

# A version that is half written must not look installed.
forget_target_version() {
    rm -f "$target_manifest"
    sync "$recovery/update_files"
}

write_image() {
    need_target
    [ -s "$update_dir/$1" ] || fail "$1 is missing"
    for slot in $(slots_of "$1"); do
        [ -w "$slot" ] || fail "$slot is missing or read-only"
        [ "$(size_of "$update_dir/$1")" -le "$(size_of "$slot")" ] || fail "$1 does not fit in $slot"
    done
    case $1 in
    kernel.img | rootfs.img) forget_target_version ;;
    esac
    for slot in $(slots_of "$1"); do
        write_slot "$1" "$slot"
    done
}

manifest_value() {
    tr -d '\r' <"$update_dir/manifest.txt" | sed -n "s/^$1=//p" | tail -n 1
}

# Puts FILE.new in the place of FILE in one step: power lost at any moment leaves the old file or the
# new one.
commit_file() {
    sync "$1.new" && mv "$1.new" "$1" && sync "$(dirname "$1")"
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
    rm -f "$archive"
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

# Rejects the update, with the reason.
reject() {
    printf '%s\n' "$1" >"$marker"
    result="REJECTED: $1"
    exit 3
}

# One line in the log of the update, which lies beside its files, or in the recovery area if the stick
# has been pulled.
log_result() {
    [ -d "${log_file%/*}" ] || log_file=$network_update/${log_file##*/}
    if [ "$log_file" != "$early_log" ] && [ -e "$early_log" ]; then
        cat "$early_log" >>"$log_file" && rm -f "$early_log"
    fi
    printf '%s %s: %s\n' "$(date '+%Y-%m-%d %H:%M:%S')" "${0##*/}" "$result" >>"$log_file" && sync "$log_file"
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

result=ok
trap 'conclude $?' EXIT
