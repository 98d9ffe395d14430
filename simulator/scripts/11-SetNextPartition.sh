#!/bin/sh
# Makes the new version the active one, if it is whole: the program runs this also after a script before
# it has failed, and an instrument must not start from a slot that was not written. The stick is not asked again.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

need_target
need_checked || fail "$why, partition $active stays active"
for image in $images; do
    for slot in $(slots_of "$image"); do
        slot_holds "$image" "$slot" || fail "$slot does not hold $image, partition $active stays active"
    done
done
[ ! -e "$restore_marker" ] || fail "the user files are not restored, partition $active stays active"
[ -d "$userdata/$target" ] || fail "partition $target has no user files, partition $active stays active"

values=$(tr -d '\r' <"$trusted/manifest.txt" | sed '/^install_date_time=/d')
printf '%s\ninstall_date_time=%s\n' "$values" "$(date '+%Y%m%d %H:%M:%S')" |
    replace_file "$target_manifest" || fail "$target_manifest cannot be written"
echo "$target" | replace_file "$partition_file" || fail "$partition_file cannot be written"
[ "$update_dir" != "$network_update" ] || drop_download
result="ok, partition $target is active"
