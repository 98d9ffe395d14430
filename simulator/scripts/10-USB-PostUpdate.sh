#!/bin/sh
# Runs the copy of the script that an update may bring, with the version partition in its environment, and a
# directory that holds the manifest and copies of all other small files that the list of sums names.
set -eu
# shellcheck source=instrument.sh
. /etc/update/instrument.sh

need_checked || fail "$why"
if [ ! -e "$trusted/post-update.sh" ]; then
    result='ok, none in this update'
    exit 0
fi
for file in $(listed_names "$trusted/$list"); do
    case " $images " in
    *" $file "*) ;;
    *) trust_file "$update_dir" "$file" || note="$note, without $file: $why" ;;
    esac
done
UPDATE_DIR=$trusted TARGET_PARTITION=$target sh "$trusted/post-update.sh" </dev/null ||
    fail "post-update.sh ended with status $?"
