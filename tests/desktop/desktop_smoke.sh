#!/usr/bin/env bash
# The programs under a real X server (Xvfb): a command-line list of mandrel32 encodes and the
# program exits 0 on its own, leaving no window; text that mandrel -C and mandrel32 -N -C put on
# the clipboard is still there after they have exited. Outputs are checked with uudecode.
#
#   tests/desktop/desktop_smoke.sh DIRECTORY_OF_THE_PROGRAMS
set -euo pipefail
bin=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -m 700 "$work/runtime"
mkdir "$work/tmp"
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/runtime TMPDIR=$work/tmp
unset WAYLAND_DISPLAY
cd "$work"
head -c 30000 /dev/urandom > photo.jpg

in_x() {
    timeout 120 xvfb-run -a -s '-screen 0 1280x800x24' "$@"
}
fail() {
    echo "FAIL: $*" >&2
    exit 1
}
same_as_photo() {  # encoded text file
    tr -d '\r' < "$1" > "$1.lf"
    uudecode -o decoded.bin "$1.lf" || fail "uudecode refused $1"
    cmp -s decoded.bin photo.jpg || fail "$1 does not decode to the input"
    rm -f decoded.bin "$1.lf"
}

# A command-line list: encoded, exit status 0, no window left behind.
in_x sh -c '"$0" -N -Eu photo.jpg; echo "exit $?" > status;
            xdotool search --name "Mandrel Desktop 32" > windows || true' "$bin/mandrel32" \
    || fail "mandrel32 -N -Eu did not end on its own"
[ "$(cat status)" = "exit 0" ] || fail "mandrel32 -N -Eu: $(cat status)"
[ ! -s windows ] || fail "mandrel32 left a window"
same_as_photo photo.uue
echo "mandrel32 -N -Eu: encoded, exit 0, no window"

# The clipboard keeps the text after the program has gone.
for program in mandrel mandrel32; do
    in_x sh -c '"$0" -N -C photo.jpg > /dev/null; echo "exit $?" > status;
                xclip -o -selection clipboard > clip.txt' "$bin/$program" \
        || fail "$program -N -C did not end, or left nothing on the clipboard"
    [ "$(cat status)" = "exit 0" ] || fail "$program -N -C: $(cat status)"
    same_as_photo clip.txt
    echo "$program -N -C: the clipboard holds the encoded text after exit"
done
echo "1 passed, 0 failed"
