# Sourced by the commands that sign and that make instruments: the keys of the simulated maker, made on first use.
# shellcheck shell=sh disable=SC2154 # the description gives what is not assigned here

# maker signs, next will sign one day, and instruments know both; a stranger's they do not know.
maker_keys=${XDG_CACHE_HOME:-${HOME:?neither HOME nor XDG_CACHE_HOME is set}/.cache}/teskupdater/maker

# Several rehearsals may begin at once: one of them makes the keys, in one step.
need_maker_keys() {
    [ ! -d "$maker_keys" ] || return 0
    mkdir -p "${maker_keys%/*}"
    (
        flock 9
        [ ! -d "$maker_keys" ] || exit 0
        rm -rf "$maker_keys.new"
        mkdir -m 700 "$maker_keys.new"
        for key in maker next stranger; do
            minisign -GW -p "$maker_keys.new/$key.pub" -s "$maker_keys.new/$key.key" >/dev/null
        done
        mv -T "$maker_keys.new" "$maker_keys"
    ) 9>"$maker_keys.lock"
}

# The secret key that signs a good update, or one that is bad in the way KIND says.
key_for() {
    case $1 in
    otherkey) echo "$maker_keys/stranger.key" ;;
    *) echo "$maker_keys/maker.key" ;;
    esac
}

# Lists the sums of the files of a directory, if there are any, and signs the list, both as the instrument wants it.
sign_directory() {
    [ -d "$2" ] && [ -n "$(ls "$2")" ] || return 0
    [ -z "$signed_list$update_sums" ] || list_sums "$2"
    [ -z "$signed_list" ] || sign_file "$1" "$2/$signed_list" "$2/$list_signature"
}

# Signs a file; the same file and key make the same signature.
sign_file() {
    minisign -S -s "$1" -m "$2" -x "$3" -c 'signature of a firmware update' -t "${2##*/}" </dev/null >/dev/null
}
