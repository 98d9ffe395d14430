# Sourced by the commands that make sticks and archives: what somebody may put there who means harm.
# shellcheck shell=sh disable=SC2154 # the description gives what is not assigned here

# What a stick would get at if scripts followed its links, and what shows that they have.
prize() {
    echo "${active_file:-/etc/pointercal}"
}

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
    chmod 6755 "$1/set-uid.sh"
    for name in $update_more; do
        chmod 6755 "$1/$name"
    done
    mkfifo "$1/pipe"
    ln -s "$(prize)" "$1/link"
    ln -s / "$1/instrument"
}

# Does harm to the signed stick in a directory.
harm_stick() {
    kernel=$1/update/$(one_image kernel.img)
    list=$1/update/${signed_list:-${update_sums:-sha256sums.txt}}
    case $2 in
    linkedlog) ln -s "$(prize)" "$1/update/update.log" ;;
    linkedimage) ln -sf /dev/zero "$kernel" ;;
    linkedlist) rm -f "$list"; ln -s "$(prize)" "$list" ;;
    linkedupdate) mv "$1/update" "$1/firmware"; ln -s firmware "$1/update" ;;
    directory) rm "$kernel"; mkdir "$kernel" ;;
    pipe) make_pipe "$1/update/${update_manifest:-${kernel##*/}}" ;;
    device) make_device "$kernel" ;;
    hugelist) truncate -s 1G "$list" ;;
    swapped) change_all "$1" "$1.instead" ;;
    replaced) another_stick "$1.instead" ;;
    esac
}

make_pipe() {
    rm "$1"
    mkfifo "$1"
}

make_device() {
    rm "$1"
    mknod "$1" c 1 5 2>/dev/null || echo "only root can make device nodes: ${1##*/} is missing instead" >&2
}

# The same stick as simulator/swap-stick has it answer once it has been checked: nothing is what was signed.
change_all() {
    cp -R "$1" "$2"
    "$here/describe" images | while read -r name _; do
        change_a_byte "$2/update/$name"
    done
    [ -z "$update_manifest" ] || tr 4 5 <"$1/update/$update_manifest" >"$2/update/$update_manifest"
    for name in $update_more; do
        evil_script >"$2/update/$name"
    done
}

# Another stick, that simulator/swap-stick plugs instead: in order, but not the one that was checked.
another_stick() {
    make_update "$1/update" 4.09 252 20240610 none
    sign_directory "$(key_for good)" "$1/update"
}
