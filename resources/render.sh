#!/bin/sh
# Re-renders the committed pictures from their SVG sources. The build does
# not run this: run it by hand after changing a drawing, look at the results
# and commit both. Needs rsvg-convert (Debian package librsvg2-bin) and the
# DejaVu Sans font (fonts-dejavu-core) for the word mark.
set -eu
cd "$(dirname "$0")"

command -v rsvg-convert >/dev/null 2>&1 || {
    echo "render.sh: rsvg-convert not found; install librsvg2-bin" >&2
    exit 1
}

# Main window header, and twice the size for high-density screens.
rsvg-convert -w 480 -h 120 logo.svg -o logo.png
rsvg-convert -w 960 -h 240 logo.svg -o logo@2x.png
# The same at the main window's header height, so start-up decodes no more
# pixels than it shows.
rsvg-convert -w 288 -h 72 logo.svg -o logo_header.png
rsvg-convert -w 576 -h 144 logo.svg -o logo_header@2x.png

# Printed score report: opaque white, as printers have no transparency.
rsvg-convert -w 600 -h 150 -b white printable_logo.svg -o printable_logo.png

# Review list status icons.
for icon in checked incomplete complete; do
    rsvg-convert -w 16 -h 16 "icons/$icon.svg" -o "icons/$icon.png"
    rsvg-convert -w 32 -h 32 "icons/$icon.svg" -o "icons/$icon@2x.png"
done
