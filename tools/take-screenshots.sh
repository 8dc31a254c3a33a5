#!/usr/bin/env bash
# Photographs the desktop program into docs/screenshots under a real X server (Xvfb) with a
# window manager (openbox), so that window frames and titles show as a user sees them.
#
#   tools/take-screenshots.sh [BUILD_DIRECTORY]     (default: build)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build}
cmake --build "$build" --target mandrel32_screenshot_tour >/dev/null
out=$top/docs/screenshots
mkdir -p "$out"
runtime=$(mktemp -d)
trap 'rm -rf "$runtime"' EXIT
chmod 700 "$runtime"
export XDG_RUNTIME_DIR=$runtime XDG_CONFIG_HOME=$runtime/config
timeout 300 xvfb-run -a -s '-screen 0 1500x900x24' sh -c 'openbox & sleep 1; exec "$0" "$1" "$2"' \
    "$build/tests/mandrel32_screenshot_tour" "$out" "$top/docs/mandrel32.html"
