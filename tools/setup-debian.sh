#!/usr/bin/env bash
# Installs what building and testing Mandrel needs on Debian 12, from Debian's packages only.
set -euo pipefail
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
packages=(
  cmake g++ make pkg-config
  qt6-base-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  sharutils uudeview mpack macutils coreutils time hyperfine jq
  xvfb xauth xclip xdotool fonts-dejavu-core
  dpkg-dev desktop-file-utils shared-mime-info xdg-utils libfile-mimeinfo-perl libglib2.0-bin
  libcurl4-openssl-dev libgmime-3.0-dev qtkeychain-qt6-dev
  dovecot-imapd python3-aiosmtpd msmtp openssl gnome-keyring dbus libsecret-tools
  python3-yenc
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
# The mail tests start Dovecot of their own on loopback; the system's own is not wanted.
if command -v systemctl >/dev/null 2>&1 && systemctl is-enabled dovecot.service >/dev/null 2>&1; then
  $SUDO systemctl disable --now dovecot.service >/dev/null 2>&1 || true
fi
