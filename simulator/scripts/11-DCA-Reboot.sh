#!/bin/sh
# Restarts the instrument at the end of the rebuild of a blank board.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

restart
