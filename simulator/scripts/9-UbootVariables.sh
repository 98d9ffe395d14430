#!/bin/sh
# Installs the bootloader variables of an update that brings some. No sequence of the program runs it.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

need_checked || fail "$why"
variables=$trusted/u-boot-variables.txt
if [ ! -e "$variables" ]; then
    result='ok, no variables in this update'
    exit 0
fi
if grep -qv '^[A-Za-z_][A-Za-z0-9_]*=' "$variables"; then
    fail 'u-boot-variables.txt has a line that sets no variable'
fi
replace_file "$recovery/download/u-boot-variables.txt" <"$variables" || fail 'the variables cannot be written'
