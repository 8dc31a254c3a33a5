#!/usr/bin/env bash
# Renders the program's icon, src/platform/icons/hicolor/scalable/apps/mandrel32.svg, into the
# hicolor PNG sizes beside it. Run after changing the SVG; the PNGs are kept in the repository so
# that a build needs no SVG renderer (apt-get install librsvg2-bin).
set -euo pipefail
icons=$(cd "$(dirname "$0")/../src/platform/icons/hicolor" && pwd)
for size in 16 22 24 32 48 64 128 256; do
    mkdir -p "$icons/${size}x${size}/apps"
    rsvg-convert -w "$size" -h "$size" "$icons/scalable/apps/mandrel32.svg" \
        -o "$icons/${size}x${size}/apps/mandrel32.png"
done
