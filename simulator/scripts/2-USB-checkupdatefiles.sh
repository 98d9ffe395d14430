#!/bin/sh
# Rejects an update of which a file is missing, has not the sum listed for it, or is too large.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

check_sum() {
    [ -s "$update_dir/$1" ] || reject "$1 is missing"
    listed=$(listed_sum "$update_dir/sha256sums.txt" "$1")
    [ -n "$listed" ] || reject "$1 is not listed in sha256sums.txt"
    [ "$(sum_of "$update_dir/$1")" = "$listed" ] || reject "$1 has a wrong sum"
}

[ ! -e "$marker" ] || reject "$(cat "$marker")"
[ -f "$update_dir/sha256sums.txt" ] || reject 'sha256sums.txt is missing'
[ -n "$target" ] || reject "$partition_file names no version partition"
for file in manifest.txt $images; do
    check_sum "$file"
done
[ ! -e "$update_dir/post-update.sh" ] || check_sum post-update.sh

for image in $images; do
    for slot in $(slots_of "$image"); do
        [ -e "$slot" ] || reject "$slot does not exist"
        [ "$(size_of "$update_dir/$image")" -le "$(size_of "$slot")" ] || reject "$image does not fit in $slot"
    done
done
