#!/bin/sh
# Removes one file, named as the only argument.
set -eu
# shellcheck source=../instrument.sh
. /etc/update/instrument.sh
log_file=$maintenance_log

[ $# -eq 1 ] || fail 'takes one argument, the file to remove'
need_settings_file "$1"
result="ok, $1 removed"
[ -e "$1" ] || [ -L "$1" ] || result="ok, there was no $1"
remove_files "$1"
