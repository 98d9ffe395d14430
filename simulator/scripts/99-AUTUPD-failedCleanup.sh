#!/bin/sh
# Removes a rejected download, so that it is not tried again at every start. Its log stays: the screen
# refers to it.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

drop_download
