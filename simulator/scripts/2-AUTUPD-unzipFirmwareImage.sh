#!/bin/sh
# Unpacks the downloaded update if it is signed, and leaves word that it is the update's source from here on.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

: >"$network_marker"
update_dir=$network_update
log_file=$update_dir/update.log
rm -rf "$update_dir"
mkdir -p "$update_dir"

unpack_archive || reject "$why"
sync "$update_dir"/*
