#!/bin/sh
# Writes the recovery kernel.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

write_image recovery-kernel.img
