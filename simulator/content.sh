# Sourced by the commands that make instruments, sticks and archives: what their files hold.
# shellcheck shell=sh disable=SC2154 # $here is theirs, and the description gives the rest

# Writes SIZE bytes of the image NAME of a firmware version: numbered lines, so that no two images and
# no two places in one are alike, and every run makes the same.
# An image of that name in the directory GIVEN_IMAGES, if there is one, is taken instead.
image() {
    if [ -n "${GIVEN_IMAGES-}" ] && [ -f "$GIVEN_IMAGES/$1" ]; then
        cat "$GIVEN_IMAGES/$1"
        return
    fi
    seq -f "$1 of firmware $2, line %.0f" "$3" | head -c "$3"
}

# Takes FILE as the description of the instrument, in place of our own.
use_description() {
    INSTRUMENT_DESCRIPTION=$(realpath -- "$1")
    export INSTRUMENT_DESCRIPTION
}

# Sets the variables that simulator/describe knows.
read_description() {
    values=$("$here/describe" paths)
    eval "$values"
}

# Prints a version's manifest: core_version, core_build, core_build_date, and the bootloader's version.
manifest() {
    printf "core_version=%s\ncore_build=%s\ncore_build_date=%s\n${bootloader_key:-image_bootloader_version}=%s\n" "$@"
}

# How many bytes a file has that takes so many parts of a partition: of a large one only the front is used.
part_of() {
    bytes=$1
    [ "$bytes" -le 4194304 ] || bytes=4194304
    echo $((bytes * $2 / $3))
}

# One of an update's images: this one, or the first if it has none of that name.
one_image() {
    "$here/describe" images | awk -v name="$1" 'NR == 1 || $1 == name { found = $1 } END { print found }'
}

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
    list=${signed_list:-${update_sums:-sha256sums.txt}}
    sums=$(cd "$1" && find . -maxdepth 1 -type f ! -name "$list*" ! -name '*.log' -printf '%P\0' |
        LC_ALL=C sort -z | xargs -0r sha256sum --)
    printf '%s\n' "$sums" >"$1/$list"
}

# Makes the files of an update to a firmware version in a directory; KIND is what is bad about them.
make_update() {
    directory=$1 version=$2 build=$3 date=$4 kind=$5
    bootloader=V4.05.00
    [ "$kind" != wrongbootloader ] || bootloader=V3.01.00

    mkdir -p "$directory"
    read_description
    [ -z "$update_manifest" ] || manifest "$version" "$build" "$date" "$bootloader" >"$directory/$update_manifest"
    "$here/describe" images | while read -r name bytes; do
        image "$name" "$version" $(($(part_of "$bytes" 5 8) + 17)) >"$directory/$name"
    done
    for name in $update_more; do
        cat >"$directory/$name" <<TEXT
#!/bin/sh
# Runs on the instrument after the images have been written.
echo "firmware $version for version partition \$TARGET_PARTITION" >>/var/log/post-update.log
TEXT
    done
}

change_a_byte() {
    printf 'X' | dd of="$1" bs=1 seek=9999 conv=notrunc status=none
}


# Does to the files of an update, listed and signed, what KIND says is bad about them.
spoil_update() {
    case $2 in
    badsum) change_a_byte "$1/$(one_image kernel.img)" ;;
    missingfile) rm "$1/$(one_image recoveryfs.img)" ;;
    unsigned) rm "$1/$list_signature" ;;
    resummed) change_a_byte "$1/$(one_image kernel.img)"; list_sums "$1" ;;
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

# Ends a command that was to make an update with a bad signature, for an instrument that looks at none.
need_signatures() {
    [ -z "$signed_list" ] || return 0
    for kind in "$@"; do
        case $kind in
        unsigned | otherkey | resummed) ;;
        *) continue ;;
        esac
        echo "$kind: the instrument verifies no signature, its description has no [signature]" >&2
        exit 1
    done
}

# Takes a directory to make something in: it must not hold anything yet.
need_empty() {
    if [ -e "$1" ] && [ -n "$(ls -A "$1")" ]; then
        echo "$1 is not empty" >&2
        exit 1
    fi
}
