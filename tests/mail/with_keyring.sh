#!/usr/bin/env bash
# Runs a command inside a D-Bus session of its own with an unlocked gnome-keyring holding the
# Secret Service, as a desktop session has one: the keyring tests' real keyring. The keyring's
# files are kept in a scratch directory, never the user's own.
#
#   tests/mail/with_keyring.sh COMMAND [ARG...]
set -euo pipefail
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export XDG_DATA_HOME=$scratch/data XDG_RUNTIME_DIR=$scratch/runtime
mkdir -p "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
dbus-run-session -- sh -c '
    printf %s "keyring-password" | gnome-keyring-daemon --unlock --components=secrets >/dev/null
    MANDREL_KEYRING_TEST=1 exec "$@"' sh "$@" 2> >(grep -v "Failed to set fd limit" >&2)
