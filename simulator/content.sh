# Sourced by the commands that make instruments, sticks and archives: what their files hold.
# shellcheck shell=sh

# Writes SIZE bytes of the image NAME of a firmware version: numbered lines, so that no two images and
# no two places in one are alike, and every run makes the same.
image() {
    seq -f "$1 of firmware $2, line %.0f" "$3" | head -c "$3"
}

# Prints a version's manifest: core_version, core_build, core_build_date, image_bootloader_version.
manifest() {
    printf 'core_version=%s\ncore_build=%s\ncore_build_date=%s\nimage_bootloader_version=%s\n' "$@"
}

# The images of an update and their sizes; each is smaller than its slot, and none ends on a whole block.
update_images='u-boot.img:300007
kernel.img:800011
recovery-kernel.img:700001
recoveryfs.img:1500007
rootfs.img:3000017'

# The display sizes an instrument knows: 7 and 10 inches.
display_setting() {
    case $1 in
    7) printf 'display_size=7\nresolution=800x480\n' ;;
    10) printf 'display_size=10\nresolution=1280x800\n' ;;
    esac
}

# Writes a log of LINES lines, one every 7 seconds from a given second of a day, which say one thing after
# another of what follows: SOURCE: WHAT HAPPENED.
log_lines() {
    count=$1 second=$2
    shift 2
    awk -v count="$count" -v second="$second" 'BEGIN {
        for (i = 0; i < count; i++) {
            at = second + 7 * i
            printf "2023-10-%02d %02d:%02d:%02d ", 3 + at / 86400, at / 3600 % 24, at / 60 % 60, at % 60
            split(ARGV[1 + i % (ARGC - 1)], words, ": ")
            printf "%s[%d]: %s (%d)\n", words[1], 400 + i % 7, words[2], i + 1
        }
    }' "$@"
}

# Writes the logs of an instrument and the list of those that its log viewer offers: file, directory,
# name. Nothing has crashed, so there is no log of crashes.
write_logs() {
    log_lines 400 21600 'kernel: usb 1-1, new high-speed device' 'scale: weight settled' \
        'network: link up' 'scale: tare set' >var/log/messages
    log_lines 3000 25200 'recipe: step finished' 'recipe: setpoint reached, next step' \
        'printer: label printed' >var/log/application.log
    log_lines 6 28800 'network: address 192.168.1.10 set' 'network: remote 192.168.1.20 answers' >var/log/network.log
    echo '2023-10-02 14:05:31 ChangeToPartition.sh: ok, partition 1 is active after 7' >var/log/maintenance.log
    cat >mnt/recovery/logFiles.txt <<'TEXT'
messages,/var/log,System Log
application.log,/var/log,Application Log
network.log,/var/log,Network Log
maintenance.log,/var/log,Maintenance Log
crash.log,/var/log,Crash Reports
update.log,/mnt/recovery/update_files/update,Network Update Log
TEXT
}

# Writes the list of sums of all files of a directory beside them.
list_sums() {
    sums=$(cd "$1" && find . -maxdepth 1 -type f ! -name 'sha256sums.txt*' ! -name '*.log' -printf '%P\0' |
        LC_ALL=C sort -z | xargs -0r sha256sum --)
    printf '%s\n' "$sums" >"$1/sha256sums.txt"
}

# Makes the files of an update to a firmware version in a directory; KIND is what is bad about them.
make_update() {
    directory=$1 version=$2 build=$3 date=$4 kind=$5
    bootloader=V4.05.00
    [ "$kind" != wrongbootloader ] || bootloader=V3.01.00

    mkdir -p "$directory"
    manifest "$version" "$build" "$date" "$bootloader" >"$directory/manifest.txt"
    for entry in $update_images; do
        image "${entry%:*}" "$version" "${entry#*:}" >"$directory/${entry%:*}"
    done
    cat >"$directory/post-update.sh" <<TEXT
#!/bin/sh
# Runs on the instrument after the images have been written.
echo "firmware $version for version partition \$TARGET_PARTITION" >>/var/log/post-update.log
TEXT
}

change_a_byte() {
    printf 'X' | dd of="$1" bs=1 seek=400000 conv=notrunc status=none
}

# Does to the signed files of an update what KIND says is bad about them.
spoil_update() {
    case $2 in
    badsum) change_a_byte "$1/kernel.img" ;;
    missingfile) rm "$1/recoveryfs.img" ;;
    unsigned) rm "$1/sha256sums.txt.minisig" ;;
    resummed) change_a_byte "$1/kernel.img"; list_sums "$1" ;;
    esac
}

# Ends a command with how it is to be used.
refuse() {
    usage >&2
    exit 2
}

# Takes an option and its value that the usage lists.
need_kind() {
    usage | awk -v option="$1" -v kind="$2" '$1 == option && $2 == kind { found = 1 } END { exit !found }' || refuse
}

# Takes a directory to make something in: it must not hold anything yet.
need_empty() {
    if [ -e "$1" ] && [ -n "$(ls -A "$1")" ]; then
        echo "$1 is not empty" >&2
        exit 1
    fi
}
