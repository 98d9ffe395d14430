#!/bin/sh
# Writes the root file system of the version partition that the update goes to, which brings the user
# files it leaves the factory with.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

write_image rootfs.img
replace_user_files cp -a "$userdata/factory/." .
