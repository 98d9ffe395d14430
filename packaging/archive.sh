# Sourced by the commands that unpack Debian packages of another architecture.
# shellcheck shell=sh

# Prints the sources of Debian's main archive that this machine itself is set up with.
debian_sources() {
    # shellcheck disable=SC2016 # apt-get fills these in
    apt-get indextargets --format '$(ORIGIN) $(COMPONENT) $(REPO_URI) $(CODENAME)' 'Created-By: Packages' |
        awk '$1 == "Debian" && $2 == "main" && $4 == "bookworm" { print "deb", $3, $4, $2; exit }'
}

# Unpacks packages (a list with commas) and all that they need into a new directory. No maintainer
# script runs, so it needs neither root nor the other architecture's processor. Sources come on standard
# input; what follows the list goes to mmdebstrap as it stands.
unpack_debian() {
    unpack_architecture=$1 unpack_directory=$2 unpack_packages=$3
    shift 3
    mode=chrootless
    [ "$(id -u)" -ne 0 ] || mode=root
    mmdebstrap --quiet --mode="$mode" --variant=extract --architectures="$unpack_architecture" \
        --include="$unpack_packages" "$@" bookworm "$unpack_directory" -
}
