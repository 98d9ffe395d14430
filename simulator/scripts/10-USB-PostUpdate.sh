#!/bin/sh
# Runs the script that an update may bring, with the update's directory and version partition in its
# environment.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

if [ ! -e "$update_dir/post-update.sh" ]; then
    result='ok, none in this update'
    exit 0
fi
UPDATE_DIR=$update_dir TARGET_PARTITION=$target sh "$update_dir/post-update.sh" </dev/null ||
    fail "post-update.sh ended with status $?"
