#!/bin/sh
# Draws the exhibit pictures of the sample exam PRAC-101 again and writes them
# to resources/samples/PRAC-101. Needs Qt 6 Gui development files, the
# DejaVu fonts and ImageMagick (apt-get install imagemagick fonts-dejavu-core)
# for the GIFs, which Qt cannot write. The results are committed; the normal
# build only copies them.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
target=$here/../../resources/samples/PRAC-101
build=${TMPDIR:-/tmp}/practorium-sample-art

cmake -S "$here" -B "$build" -G Ninja >/dev/null
cmake --build "$build"
QT_QPA_PLATFORM=offscreen "$build/sample-art" "$target"
for name in topology sockets; do
    convert "$target/$name.png" -colors 256 "$target/$name.gif"
    rm "$target/$name.png"
done
ls -l "$target"
