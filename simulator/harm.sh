# Sourced by the commands that make sticks and archives: what somebody may put there who means harm.
# shellcheck shell=sh

# What a stick would get at if scripts followed its links, and what shows that they have.
prize=/mnt/recovery/download/partition_c

# A script that leaves its mark where no update has any business.
evil_script() {
    printf '#!/bin/sh\necho evil >/etc/update/evil\n'
}

# Files that a signed update may hold without harm: none of them is one of the update's own.
add_odd_files() {
    echo text >"$1/two words.txt"
    echo text >"$1/two
lines.txt"
    echo text >"$1/2026-01-01 00:00:00 0-checkpartitions.sh: ok"
    echo text >"$1/-rf"
    evil_script >"$1/set-uid.sh"
    chmod 6755 "$1/set-uid.sh" "$1/post-update.sh"
    mkfifo "$1/pipe"
    ln -s "$prize" "$1/link"
    ln -s / "$1/instrument"
}

# Does harm to the signed stick in a directory.
harm_stick() {
    case $2 in
    linkedlog) ln -s "$prize" "$1/update/update.log" ;;
    linkedimage) ln -sf /dev/zero "$1/update/kernel.img" ;;
    linkedlist) rm "$1/update/sha256sums.txt"; ln -s "$prize" "$1/update/sha256sums.txt" ;;
    linkedupdate) mv "$1/update" "$1/firmware"; ln -s firmware "$1/update" ;;
    directory) rm "$1/update/kernel.img"; mkdir "$1/update/kernel.img" ;;
    pipe) rm "$1/update/manifest.txt"; mkfifo "$1/update/manifest.txt" ;;
    device) make_device "$1/update/kernel.img" ;;
    hugelist) truncate -s 1G "$1/update/sha256sums.txt" ;;
    swapped) change_all "$1" "$1.instead" ;;
    replaced) another_stick "$1.instead" ;;
    esac
}

make_device() {
    rm "$1"
    mknod "$1" c 1 5 2>/dev/null || echo "only root can make device nodes: ${1##*/} is missing instead" >&2
}

# The same stick as simulator/swap-stick has it answer once it has been checked: nothing is what was signed.
change_all() {
    cp -R "$1" "$2"
    for file in "$2"/update/*.img; do
        printf 'X' | dd of="$file" bs=1 seek=200000 conv=notrunc status=none
    done
    tr 4 5 <"$1/update/manifest.txt" >"$2/update/manifest.txt"
    evil_script >"$2/update/post-update.sh"
}

# Another stick, that simulator/swap-stick plugs instead: in order, but not the one that was checked.
another_stick() {
    make_update "$1/update" 4.09 252 20240610 none
    sign_directory "$(key_for good)" "$1/update"
}
