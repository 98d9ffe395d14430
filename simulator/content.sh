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

# Writes the list of sums of all files of a directory beside them.
list_sums() {
    sums=$(cd "$1" && sha256sum -- *)
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
    list_sums "$directory"

    case $kind in
    badsum) printf 'X' | dd of="$directory/kernel.img" bs=1 seek=400000 conv=notrunc status=none ;;
    missingfile) rm "$directory/recoveryfs.img" ;;
    esac
}

# Ends a command with how it is to be used.
refuse() {
    usage >&2
    exit 2
}

# Takes a directory to make something in: it must not hold anything yet.
need_empty() {
    if [ -e "$1" ] && [ -n "$(ls -A "$1")" ]; then
        echo "$1 is not empty" >&2
        exit 1
    fi
}
