# Sourced by the commands at the top of the tree: installs what is missing, builds the program.
# shellcheck shell=sh disable=SC2154 # those commands set $top

# Ends the command with what is wrong on standard error.
fail() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    exit 1
}

# Installs the packages of the one list that are not there yet, saying which, but for those that the command does
# without; with --board also those that the emulated board needs.
install_missing_packages() {
    set -- "$top/packaging/apt-packages.txt" ${1:+"$top/packaging/board-packages.txt"}
    missing=$(cat "$@" | while read -r package; do
        case " ${does_without-} " in *" $package "*) continue ;; esac
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            printf ' %s' "$package"
    done)
    [ -n "$missing" ] || return 0

    printf 'Installing what is missing:%s\n' "$missing"
    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "these packages are missing, and neither root nor sudo is here:$missing"
        as_root=sudo
    fi
    # shellcheck disable=SC2086 # both are lists of words
    {
        $as_root apt-get -q update &&
            $as_root env DEBIAN_FRONTEND=noninteractive apt-get -qy install --no-install-recommends $missing
    } >"$log" 2>&1 || { tail -n 20 "$log" >&2; fail "apt-get could not install them"; }
}

# Shows on a terminal how far the build is, on one line.
show_progress() {
    if [ ! -t 1 ]; then
        cat >/dev/null
        return
    fi
    while IFS= read -r line; do
        case $line in
        '['[0-9]*/*) printf '\rBuilding... %s' "${line%%]*}]" ;;
        esac
    done
    echo
}

# Builds a preset of CMakePresets.json; quick when nothing has changed.
build() {
    printf 'Building...'
    [ -t 1 ] || echo
    : >"$log.failed"
    {
        cmake -S "$top" --preset "$1" && cmake --build "$top/build/$1" && rm "$log.failed"
    } 2>&1 | tee "$log" | show_progress
    [ ! -e "$log.failed" ] || { tail -n 60 "$log" >&2; fail "the build of '$1' failed"; }
}

# A sandbox is what keeps a rehearsal away from this machine: without one nothing is run.
require_sandbox() {
    try=$(mktemp -d)
    "$top/simulator/make-instrument" --bare "$try/instrument"
    if ! "$top/simulator/sandbox" "$try/instrument" true 2>"$try/message"; then
        cat "$try/message" >&2
        rm -rf "$try"
        fail "bubblewrap can make no sandbox here (it needs unprivileged user namespaces, or root)"
    fi
    rm -rf "$try"
}

mkdir -p "$top/build"
log=$top/build/set-up.log
