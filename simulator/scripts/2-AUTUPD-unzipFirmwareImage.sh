#!/bin/sh
# Unpacks the downloaded update, and leaves word that it is the update's source from here on.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

: >"$network_marker"
update_dir=$network_update
log_file=$update_dir/update.log
rm -rf "$update_dir"
mkdir -p "$update_dir"

[ -f "$archive" ] || reject 'update.zip is missing'
unzip -tqq "$archive" </dev/null || reject 'update.zip is damaged'
unzip -qqo "$archive" -d "$update_dir" </dev/null || reject 'update.zip cannot be unpacked'
sync "$update_dir"/*
