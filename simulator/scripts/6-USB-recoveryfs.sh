#!/bin/sh
# Writes the recovery file system.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

write_image recoveryfs.img
