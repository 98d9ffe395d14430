#!/bin/sh
# Writes the kernel of the version partition that the update goes to.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

write_image kernel.img
