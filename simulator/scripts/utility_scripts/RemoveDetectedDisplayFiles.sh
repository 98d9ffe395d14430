#!/bin/sh
# Removes what the active version found out about its display: it looks again at the next start.
set -eu
# shellcheck source=../instrument.sh
. /etc/update/instrument.sh
log_file=$maintenance_log

set --
for file in /home/tesk/display/*; do
    [ ! -f "$file" ] || set -- "$@" "$file"
done
[ $# -eq 0 ] || remove_files "$@"
result="ok, $# detected display files removed"
