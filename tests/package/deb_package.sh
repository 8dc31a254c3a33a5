#!/usr/bin/env bash
# The Debian package, checked without installing it into the system: cpack makes it from the
# build; its fields and files are read back with dpkg-deb and apt simulates installing it; then,
# unpacked into a scratch root, both programs run from where the package puts them, the desktop
# entry validates, and with that root's share directory as a system data directory (as the
# triggers of shared-mime-info and desktop-file-utils leave /usr/share) a user with an empty home
# has our types and our program as their handler.
#
#   tests/package/deb_package.sh BUILD_DIRECTORY
set -euo pipefail
build=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
    echo "FAIL: $*" >&2
    exit 1
}

(cd "$build" && cpack -G DEB -B "$scratch/out") >"$scratch/cpack.log" 2>&1 || {
    cat "$scratch/cpack.log" >&2
    fail "cpack could not make the package"
}
deb=$(echo "$scratch"/out/mandrel_2.0.0_*.deb)
[[ -f $deb ]] || fail "no mandrel_2.0.0_*.deb in $(ls "$scratch/out")"

# The libraries it links, and Qt's platform plugins, which it loads.
depends=$(dpkg-deb -f "$deb" Depends)
for package in libc6 libstdc++6 libqt6core6 libqt6gui6 libqt6widgets6 qt6-qpa-plugins; do
    [[ ", $depends," == *", $package "* || ", $depends," == *", $package,"* ]] ||
        fail "Depends lacks $package: $depends"
done
apt-get -s -q install "$deb" >"$scratch/apt.log" 2>&1 || {
    cat "$scratch/apt.log" >&2
    fail "apt cannot install the package"
}
grep -q '^Inst mandrel ' "$scratch/apt.log" || fail "apt would not install mandrel: $(cat "$scratch/apt.log")"

expected=(
    ./usr/bin/mandrel ./usr/bin/mandrel32
    ./usr/share/applications/mandrel32.desktop
    ./usr/share/mime/packages/mandrel32.xml
    ./usr/share/mandrel32/mandrel32.html
    ./usr/lib/mandrel/mandrel-console-mail.so
    ./usr/share/man/man1/mandrel.1.gz ./usr/share/man/man1/mandrel32.1.gz
    ./usr/share/icons/hicolor/scalable/apps/mandrel32.svg
)
for size in 16 22 24 32 48 64 128 256; do
    expected+=("./usr/share/icons/hicolor/${size}x${size}/apps/mandrel32.png")
done
diff <(dpkg-deb -c "$deb" | awk '$1 !~ /^d/ {print $6}' | sort) \
    <(printf '%s\n' "${expected[@]}" | sort) || fail "the package's files differ (< package, > expected)"

dpkg-deb -x "$deb" "$scratch/root"
usr=$scratch/root/usr
entry=$usr/share/applications/mandrel32.desktop
grep -qx 'Exec=/usr/bin/mandrel32 %f' "$entry" || fail "the entry's Exec: $(grep Exec "$entry")"
desktop-file-validate "$entry" || fail "desktop-file-validate"
zcat "$usr/share/man/man1/mandrel32.1.gz" | grep -q '^\.TH MANDREL32 1' || fail "mandrel32's man page"

mkdir -p "$scratch/home" "$scratch/runtime"
chmod 700 "$scratch/runtime"
export HOME=$scratch/home XDG_CONFIG_HOME=$scratch/home/.config XDG_DATA_HOME=$scratch/home/.local/share
export XDG_RUNTIME_DIR=$scratch/runtime QT_QPA_PLATFORM=offscreen
unset XDG_CURRENT_DESKTOP DISPLAY WAYLAND_DISPLAY
[[ $("$usr/bin/mandrel" --version) == "Mandrel Desktop 32 2.0.0" ]] || fail "mandrel --version"
# The desktop program finds its help document in ../share/mandrel32 or refuses to start.
head -c 3000 /dev/urandom >"$scratch/photo.jpg"
"$usr/bin/mandrel32" -N -Eu "$scratch/photo.jpg" || fail "mandrel32 -N -Eu from the package"
uudecode -o "$scratch/back.jpg" "$scratch/photo.uue" && cmp -s "$scratch/back.jpg" "$scratch/photo.jpg" ||
    fail "what mandrel32 encoded does not decode with uudecode"

# Every user: the caches the system's triggers make, then what the desktop says.
export XDG_DATA_DIRS=$usr/share:/usr/share
update-mime-database "$usr/share/mime"
update-desktop-database "$usr/share/applications"
echo "begin 644 photo.jpg" >"$scratch/photo.b64"
echo "(This file must be converted with BinHex 4.0)" >"$scratch/photo.hqx"
[[ $(XDG_CURRENT_DESKTOP=GNOME xdg-mime query filetype "$scratch/photo.b64") == text/x-quorvane-mimeencodedfile ]] ||
    fail "photo.b64 is not a MIME encoded file"
[[ $(xdg-mime query filetype "$scratch/photo.hqx") == text/x-quorvane-binhexencodedfile ]] ||
    fail "photo.hqx is not a BinHex encoded file"
for type in uuencodedfile xxencodedfile mimeencodedfile binhexencodedfile; do
    [[ $(xdg-mime query default "text/x-quorvane-$type") == mandrel32.desktop ]] ||
        fail "no handler for text/x-quorvane-$type"
done
echo "package: $(basename "$deb") holds ${#expected[@]} files and is every user's handler of encoded files"
