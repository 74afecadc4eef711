#!/bin/sh
# Runs a test program against a real Secret Service: gnome-keyring in a
# private D-Bus session, with a throw-away home, so the user's own keyring is
# never touched. Exits 77 (skipped) with the reason when that cannot be set up.
set -u
for tool in dbus-run-session gnome-keyring-daemon; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "SKIP: $tool is not installed, so there is no Secret Service to test against" >&2
        exit 77
    fi
done
home=$(mktemp -d) || exit 1
trap 'rm -rf "$home"' EXIT
mkdir -m 700 "$home/run"
HOME=$home XDG_DATA_HOME=$home/data XDG_CONFIG_HOME=$home/config XDG_RUNTIME_DIR=$home/run \
    dbus-run-session -- sh -c '
        printf pw | gnome-keyring-daemon --unlock --components=secrets >/dev/null || {
            echo "SKIP: gnome-keyring-daemon does not start here" >&2
            exit 77
        }
        PRACTORIUM_SECRET_SERVICE=gnome-keyring exec "$@"' sh "$@"
