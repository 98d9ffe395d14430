#!/bin/sh
# Rejects an update that nobody known has signed, or made for another bootloader than the one this instrument
# runs with.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

[ ! -e "$marker" ] || reject "$(cat "$marker")"
need_list || reject "$why"
trust_file "$update_dir" manifest.txt || reject "$why"
[ -f /tmp/runningbootloaderversion ] || reject 'the running bootloader version is not known'

wanted=$(manifest_value image_bootloader_version)
running=$(cat /tmp/runningbootloaderversion)
[ "$wanted" = "$running" ] || reject "the update is for bootloader ${wanted:-(none given)}, this instrument runs $running"
