#!/bin/sh
# Rejects an update of which a file is missing, has not the sum listed for it, or is too large. What is
# written later may only be what passes here.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

[ ! -e "$marker" ] || reject "$(cat "$marker")"
check_update || reject "$why"
