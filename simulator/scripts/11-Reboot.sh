#!/bin/sh
# Restarts the instrument at the end of an update.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

restart
