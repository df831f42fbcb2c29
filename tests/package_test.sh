#!/bin/sh
# SPDX-License-Identifier: GPL-3.0-or-later
# Packages this build with CPack, unpacks the .deb into a scratch root and
# runs the packaged programs from there.
set -eu
build="$1"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$build"
cpack -G DEB -B "$work/out" >/dev/null
deb="$(ls "$work"/out/sorvanel_*_amd64.deb)"
dpkg-deb -f "$deb" Depends | grep -q libqt6core6 || { echo "no computed dependencies"; exit 1; }
dpkg-deb -x "$deb" "$work/root"
for file in usr/bin/sorvanel usr/share/applications/io.github.sorvanel.Sorvanel.desktop \
            usr/share/metainfo/io.github.sorvanel.Sorvanel.metainfo.xml usr/share/doc/sorvanel/copyright \
            usr/share/icons/hicolor/scalable/apps/io.github.sorvanel.Sorvanel.svg \
            usr/share/bash-completion/completions/sorvanel-cli; do
    [ -e "$work/root/$file" ] || { echo "missing in the package: $file"; exit 1; }
done
for page in "$build"/data/man/*.1.gz "$build"/data/man/de/*.1.gz; do   # where help2man made them
    [ -e "$page" ] || continue
    case "$page" in */de/*) folder=de/man1 ;; *) folder=man1 ;; esac
    [ -e "$work/root/usr/share/man/$folder/$(basename "$page")" ] || { echo "missing in the package: $page"; exit 1; }
done
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config"
mkdir -p "$HOME/Downloads"
"$work/root/usr/bin/sorvanel-cli" --help | grep -q "sorvanel-cli"
"$work/root/usr/bin/sorvanel-agent"   # automatic cleanup is off: exits 0 at once
echo "packaged: $(basename "$deb")"
