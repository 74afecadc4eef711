#!/bin/sh
# Checks every window's accessible names over AT-SPI: a virtual display, a
# private D-Bus session with the accessibility bus, a throw-away home with the
# sample exam installed, then atspi_walk.py drives the program.
# Exits 77 (skipped) with the reason when a needed package is missing.
#
# usage: atspi-check.sh PROGRAM SAMPLE_DIR
set -u
program=$1
sample=$2

skip() {
    echo "SKIP: $1 (Debian: xvfb, dbus-daemon, at-spi2-core, python3-pyatspi)" >&2
    exit 77
}
for tool in Xvfb dbus-run-session; do
    command -v "$tool" >/dev/null 2>&1 || skip "$tool is not installed"
done
[ -x /usr/libexec/at-spi-bus-launcher ] || skip "the AT-SPI bus launcher is not installed"
# pyatspi is a Debian package of the system's Python, which may not be the
# first python3 on the path.
python=
for candidate in /usr/bin/python3 python3; do
    if "$candidate" -c "import pyatspi" >/dev/null 2>&1; then
        python=$candidate
        break
    fi
done
[ -n "$python" ] || skip "pyatspi cannot be imported"

home=$(mktemp -d) || exit 1
xvfb=
cleanup() {
    # Waited for: a server still going away could remove the socket of the
    # next one that took the same display number.
    if [ -n "$xvfb" ]; then
        kill "$xvfb" 2>/dev/null
        wait "$xvfb" 2>/dev/null
    fi
    rm -rf "$home"
}
trap cleanup EXIT
mkdir -m 700 "$home/run"
mkdir -p "$home/data/Practorium/Exams/PRAC-101" "$home/config"
cp "$sample"/* "$home/data/Practorium/Exams/PRAC-101/" || exit 1

# The server writes its display number once it listens; waited for a bounded
# time. -noreset: by default the server starts over when its last client
# leaves, and the accessibility bus connects and leaves just before the
# program does, which then found no server to connect to.
Xvfb -displayfd 3 -screen 0 1366x768x24 -nolisten tcp -noreset 3>"$home/display" 2>"$home/xvfb.log" &
xvfb=$!
tries=0
while [ ! -s "$home/display" ]; do
    tries=$((tries + 1))
    if [ "$tries" -gt 100 ] || ! kill -0 "$xvfb" 2>/dev/null; then
        cat "$home/xvfb.log" >&2
        echo "FAIL: Xvfb did not start" >&2
        exit 1
    fi
    sleep 0.1
done

unset QT_QPA_PLATFORM
HOME=$home XDG_DATA_HOME=$home/data XDG_CONFIG_HOME=$home/config XDG_RUNTIME_DIR=$home/run \
    DISPLAY=":$(head -n 1 "$home/display")" NO_AT_BRIDGE=0 \
    dbus-run-session -- "$python" "$(dirname "$0")/atspi_walk.py" "$program"
