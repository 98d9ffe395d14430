#!/bin/sh
# Installs the override of a stick, the size of the display: OVERRIDE/Sizexx holds the new setting,
# OVERRIDE/SizeClear takes the setting away. The program tells these exit codes apart:
# 0 installed, the instrument restarts; 1 the setting is like that already; 2 more than one override.
# Any other end is a rejection, with the marker: without it the program would start this again and again.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh
log_file=$stick_update/update_override.log
override_dir=$stick_update/OVERRIDE

rm -f "$marker"
set --
for file in "$override_dir"/*; do
    { [ -f "$file" ] && [ ! -L "$file" ]; } || continue # the program counts files alone, too
    case ${file##*/} in
    Size[0-9] | Size[0-9][0-9] | SizeClear) set -- "$@" "${file##*/}" ;;
    "$list" | "$list.minisig") ;;
    *) reject "${file##*/} is no override" ;;
    esac
done
[ $# -ne 0 ] || reject 'there is no override'
if [ $# -gt 1 ]; then
    result="INVALID: only one of $* may be present"
    exit 2
fi

trust_list "$override_dir" || reject "$why"
trust_file "$override_dir" "$1" || reject "$why"

wanted=
[ "$1" = SizeClear ] || wanted=$(cat "$trusted/$1")
existing=$(cat "$display_setting" 2>/dev/null) || existing=
if [ "$wanted" = "$existing" ]; then
    result="MATCHES: the display setting is $1 already"
    exit 1
fi
if [ "$1" = SizeClear ]; then
    rm -f "$display_setting"
else
    replace_file "$display_setting" <"$trusted/$1" || reject "$display_setting cannot be written"
fi
result="ok, $1 installed"
# In the background: the program shows that the instrument restarts when this script has ended.
(
    /sbin/reboot
    :
) &
