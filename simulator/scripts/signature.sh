# Sourced by instrument.sh: whom an update is believed, and that what is written is what was believed.
#
# A stick can give another answer each time it is read, and anybody can write one. So the list of sums is
# copied to where only root writes, the copy's signature is verified, and from then on that copy alone says
# what each file has to be. Small files are used as copies too; images are read back from where they were written.
#
# A function that finds something wrong leaves the reason in $why and returns 1.
# shellcheck shell=sh disable=SC2034,SC2094,SC2154 # instrument.sh and this file read each other's variables

keys=/etc/update/keys # the public keys; a directory without one trusts nobody, without the directory anybody is
work=/run/update      # only root writes here; in memory, so nothing outlives the power
trusted=$work/trusted # copies of files that were verified
list=sha256sums.txt
small=1048576 # bytes, the largest file of an update that is no image

because() {
    why=$1
    return 1
}

# Where a file has to lie when no link has led there: on a stick no directory may be a link either.
real_path() {
    case $1 in
    /media/usb0/*) echo "$(readlink -f /media/usb0)${1#/media/usb0}" ;;
    *) echo "$(readlink -f "${1%/*}")/${1##*/}" ;;
    esac
}

need_file() {
    [ -e "$1" ] || [ -L "$1" ] || because "${1##*/} is missing" || return
    { [ -f "$1" ] && [ ! -L "$1" ]; } || because "${1##*/} is no plain file" || return
    [ "$(readlink -f "$1")" = "$(real_path "$1")" ] || because "${1##*/} lies behind a link"
}

# Prints a file up to a number of bytes, and nothing if a link has led elsewhere: what counts is what was
# opened, not what was there a moment before.
read_file() {
    { [ "$(readlink /proc/self/fd/0)" = "$(real_path "$1")" ] && head -c "$2"; } <"$1"
}

# Appends a text to a file, made if there is none; never through a link, and only to a plain file.
append_to() {
    [ ! -L "$1" ] && { [ ! -e "$1" ] || [ -f "$1" ]; } || return
    [ "$(readlink -f "${1%/*}")/${1##*/}" = "$(real_path "$1")" ] || return # or the file would be made elsewhere
    { [ "$(readlink /proc/self/fd/3)" = "$(real_path "$1")" ] && printf '%s\n' "$2" >&3; } 3>>"$1" && sync "$1"
}

# Copies a file of at most so many bytes.
copy_file() {
    need_file "$1" || return
    read_file "$1" $(($2 + 1)) >"$3" || because "${1##*/} cannot be copied" || return
    [ "$(size_of "$3")" -le "$2" ] || because "${1##*/} is too large"
}

# Prints the format and the key of a signature or of a public key, as minisign names keys; nothing if it is none.
key_of() {
    sed -n 2p "$1" | base64 -d 2>/dev/null | od -An -v -tx1 -N10 |
        awk 'NF == 10 { print $1 $2, toupper($10 $9 $8 $7 $6 $5 $4 $3) }'
}

# Verifies the signature of a copy; the signature lies beside the original.
verify_signature() {
    if [ ! -d "$keys" ]; then
        note=', nothing verified: this instrument has no keys'
        return
    fi
    name=${2##*/}
    [ -e "$2.minisig" ] || [ -L "$2.minisig" ] || because "$name is not signed: $name.minisig is missing" || return
    copy_file "$2.minisig" "$small" "$work/signature" || return
    command -v minisign >/dev/null || because 'this instrument has no minisign to verify signatures with' || return
    signer=$(key_of "$work/signature")
    # 4544 is a signature of the file's hash, which takes no memory; the older form has to hold the whole file
    [ "${signer% *}" = 4544 ] || because "$name.minisig is no signature in minisign's present form" || return
    known=no
    for key in "$keys"/*.pub; do
        [ "$(key_of "$key")" = "4564 ${signer#* }" ] || continue
        known=yes
        minisign -Vq -p "$key" -x "$work/signature" -m "$1" </dev/null >/dev/null 2>&1 && return
    done
    [ "$known" = yes ] ||
        because "$name is signed by a key that this instrument does not know, ${signer#* }" || return
    because "$name was changed after it was signed"
}

start_trust() {
    { rm -rf "$work" && mkdir -m 700 "$work" "$trusted"; } || because "$work cannot be made"
}

# Takes the list of sums of a directory to be believed from here on.
trust_list() {
    start_trust || return
    copy_file "$1/$list" "$small" "$work/unverified" || return
    verify_signature "$work/unverified" "$1/$list" || return
    mv "$work/unverified" "$trusted/$list"
}

# The update's list, of which every check and every script after it sees the same copy.
need_list() {
    [ -e "$trusted/$list" ] || trust_list "$update_dir"
}

# The sum that the list gives for a file; nothing if the file is not in it.
listed_sum() {
    awk -v name="$1" '{ sub(/\r$/, ""); sub(/^\*/, "", $2) } $2 == name { print tolower($1); exit }' "$trusted/$list"
}

# The files of a list by name: a hundred at most, and none with a name that is more than a name.
listed_names() {
    awk '{ sub(/\r$/, ""); sub(/^\*/, "", $2) } $2 ~ /^[A-Za-z0-9_][A-Za-z0-9_.-]*$/ && n++ < 100 { print $2 }' "$1"
}

need_listed() {
    [ -n "$(listed_sum "$1")" ] || because "$1 is not listed in $list"
}

wrong_sum() {
    if [ -d "$keys" ]; then
        because "$1 was changed after it was signed (wrong sum)"
    else
        because "$1 has a wrong sum"
    fi
}

# Copies a small file of a directory to where only root writes, if the list says so.
trust_file() {
    [ ! -e "$trusted/$2" ] || return 0
    need_listed "$2" || return
    copy_file "$1/$2" "$small" "$work/unverified" || return
    [ "$(sum <"$work/unverified")" = "$(listed_sum "$2")" ] || wrong_sum "$2" || return
    mv "$work/unverified" "$trusted/$2"
}

check_image() {
    need_listed "$1" || return
    need_file "$update_dir/$1" || return
    size=$(size_of "$update_dir/$1")
    [ "$size" -gt 0 ] || because "$1 is missing" || return
    for slot in $(places_of "$1"); do
        [ -n "$(slot_size "$slot")" ] || because "$slot does not exist" || return
        [ "$size" -le "$(slot_size "$slot")" ] || because "$1 does not fit in $slot" || return
    done
    [ "$(read_file "$update_dir/$1" "$size" | sum)" = "$(listed_sum "$1")" ] || wrong_sum "$1"
}

# Whether an update is whole and fits. Nothing is written to any slot before this has been said.
check_update() {
    need_list || return
    know_target || return
    trust_file "$update_dir" manifest.txt || return
    [ -s "$trusted/manifest.txt" ] || because 'manifest.txt is missing' || return
    for file in post-update.sh u-boot-variables.txt; do
        if [ -n "$(listed_sum "$file")" ] || [ -e "$update_dir/$file" ] || [ -L "$update_dir/$file" ]; then
            trust_file "$update_dir" "$file" || return
        fi
    done
    for image in $images; do
        check_image "$image" || return
    done
    : >"$work/checked"
}

need_checked() {
    [ -e "$work/checked" ] || because 'the update has not passed the check'
}

# Unpacks the files of an update from a verified copy of the archive, each by its name and none larger than it may
# be: links, paths and what else an archive can hold mean nothing here.
unpack_archive() {
    start_trust || return
    know_target || return
    limit=$small
    for file in $images; do
        limit=$((limit + $(limit_of "$file")))
    done
    copy_file "$archive" "$limit" "$update_dir/update.zip" || return
    verify_signature "$update_dir/update.zip" "$archive" || return
    unzip -l "$update_dir/update.zip" >/dev/null 2>&1 || because 'update.zip is damaged' || return
    unpack_file "$list"
    for file in "$list.minisig" manifest.txt $images post-update.sh $(listed_names "$update_dir/$list"); do
        [ -e "$update_dir/$file" ] || unpack_file "$file"
    done
    rm "$update_dir/update.zip"
}

unpack_file() {
    unzip -p "$update_dir/update.zip" "$1" 2>/dev/null </dev/null |
        head -c $(($(limit_of "$1") + 1)) >"$update_dir/$1"
    [ -s "$update_dir/$1" ] || rm "$update_dir/$1"
}
