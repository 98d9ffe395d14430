# Sourced by the commands at the top of the tree: installs what is missing, builds the program.
# shellcheck shell=sh disable=SC2154 # those commands set $top

# Ends the command with what is wrong on standard error.
fail() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    exit 1
}

# Installs the packages of the one list that are not there yet, saying which; with --board also those
# that the emulated board needs.
install_missing_packages() {
    set -- "$top/packaging/apt-packages.txt" ${1:+"$top/packaging/board-packages.txt"}
    missing=$(cat "$@" | while read -r package; do
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

# Builds a preset of CMakePresets.json; quick when nothing has changed.
build() {
    preset=$1
    shift
    {
        cmake -S "$top" --preset "$preset" "$@" && cmake --build "$top/build/$preset"
    } >"$log" 2>&1 || { tail -n 60 "$log" >&2; fail "the build of '$preset' failed"; }
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
