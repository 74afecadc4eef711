#!/usr/bin/env bash
# Checks what Practorium installs, the way a distribution would see it.
#   check-install.sh prefix BUILD_DIR   cmake --install into an empty prefix
#   check-install.sh deb BUILD_DIR      the Debian package, built with CPack
#                                       from BUILD_DIR and unpacked
# Every file of installed-files.txt must be there and nothing else; the
# desktop entry, metadata, file types and manual pages must pass their
# validators, and the installed programs must answer --version.
set -euo pipefail
MODE="$1"
BUILD_DIR="$(cd "$2" && pwd)"
HERE="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

case "$MODE" in
prefix)
    cmake --install "$BUILD_DIR" --prefix "$WORK/root" >/dev/null
    PREFIX="$WORK/root"
    ;;
deb)
    cpack --config "$BUILD_DIR/CPackConfig.cmake" -B "$WORK/out" >/dev/null
    DEB="$(ls "$WORK"/out/practorium_*.deb)"
    dpkg-deb -x "$DEB" "$WORK/root"
    PREFIX="$WORK/root/usr"
    [[ "$(dpkg-deb -f "$DEB" Section)" == education ]] || fail "Section is not education"
    [[ -n "$(dpkg-deb -f "$DEB" Maintainer)" ]] || fail "no Maintainer"
    depends="$(dpkg-deb -f "$DEB" Depends)"
    # Computed from the binaries, so the Qt libraries they link must be there.
    for lib in libqt6core6 libqt6widgets6 libqt6network6 qt6-qpa-plugins; do
        [[ "$depends" == *"$lib"* ]] || fail "Depends lacks $lib: $depends"
    done
    # Only /usr: nothing under /etc, /opt or a build path.
    extra="$(cd "$WORK/root" && find . -mindepth 1 -maxdepth 1 ! -name usr)"
    [[ -z "$extra" ]] || fail "files outside /usr: $extra"
    ;;
*)
    echo "usage: $0 prefix|deb BUILD_DIR" >&2
    exit 2
    ;;
esac

actual="$(cd "$PREFIX" && find . \( -type f -o -type l \) | sed 's|^\./||' | LC_ALL=C sort)"
expected="$(LC_ALL=C sort "$HERE/installed-files.txt")"
if [[ "$actual" != "$expected" ]]; then
    fail "installed files differ from installed-files.txt:"
    diff <(echo "$expected") <(echo "$actual") >&2 || true
fi

APP=org.practorium.Practorium
desktop="$PREFIX/share/applications/$APP.desktop"
desktop-file-validate "$desktop" || fail "desktop-file-validate"
appstreamcli validate --no-net "$PREFIX/share/metainfo/$APP.metainfo.xml" >"$WORK/as.log" 2>&1 ||
    { cat "$WORK/as.log" >&2; fail "appstreamcli validate"; }

# The entry's program, icon and file types are the ones installed.
exec_line="$(grep '^Exec=' "$desktop")"
[[ -x "$PREFIX/bin/$(echo "${exec_line#Exec=}" | cut -d' ' -f1)" ]] || fail "Exec names no installed program"
[[ "$exec_line" == *"%u"* ]] || fail "Exec takes no file: $exec_line"
[[ "$(grep '^Icon=' "$desktop")" == "Icon=$APP" ]] || fail "Icon is not $APP"
for type in $(grep '^MimeType=' "$desktop" | cut -d= -f2 | tr ';' ' '); do
    grep -q "type=\"$type\"" "$PREFIX/share/mime/packages/$APP.xml" || fail "MimeType $type is not defined"
done

# Each PNG is as large as its folder says (width and height from the header).
for png in "$PREFIX"/share/icons/hicolor/*x*/apps/$APP.png; do
    size="$(basename "$(dirname "$(dirname "$png")")")"
    read -r w h < <(od -An -tu1 -j16 -N8 "$png" |
        awk '{ print $1*16777216 + $2*65536 + $3*256 + $4, $5*16777216 + $6*65536 + $7*256 + $8 }')
    [[ "${w}x${h}" == "$size" ]] || fail "$png is ${w}x${h}"
done

# The file types compile into a MIME database, and the pack's first lines
# make it a pack whatever the file is called.
cp -r "$PREFIX/share/mime" "$WORK/mime"
XDG_DATA_HOME="$WORK" XDG_DATA_DIRS="$WORK" update-mime-database "$WORK/mime" 2>"$WORK/mime.log" || fail "update-mime-database"
[[ ! -s "$WORK/mime.log" ]] || { cat "$WORK/mime.log" >&2; fail "update-mime-database warned"; }
grep -q '\*\.exam' "$WORK/mime/globs2" && grep -q 'x-practorium-exam' "$WORK/mime/globs2" || fail "*.exam not registered"
grep -aq 'x-practorium-pack' "$WORK/mime/magic" || fail "no magic rule for packs"

for page in "$PREFIX"/share/man/man1/*.1.gz; do
    warnings="$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)"
    [[ -z "$warnings" ]] || fail "$page: $warnings"
done

version="$(grep -m1 'CMAKE_PROJECT_VERSION:STATIC=' "$BUILD_DIR/CMakeCache.txt" | cut -d= -f2)"
[[ "$("$PREFIX/bin/practorium-exam" --version)" == "practorium-exam $version" ]] || fail "practorium-exam --version"
[[ "$("$PREFIX/bin/practorium-courier" --version)" == "practorium-courier $version" ]] || fail "practorium-courier --version"
[[ "$(QT_QPA_PLATFORM=offscreen "$PREFIX/bin/practorium" --version)" == "Practorium $version" ]] ||
    fail "practorium --version offscreen"
# Without any display --version still answers: no window is made.
[[ "$(env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM "$PREFIX/bin/practorium" --version)" == "Practorium $version" ]] ||
    fail "practorium --version without a display"

((failures == 0)) || exit 1
echo "all checks passed ($MODE)"
