# SPDX-License-Identifier: GPL-3.0-or-later
# Shared by scripts/run and scripts/test: installs the Debian packages the
# build needs (only those missing), then configures and builds into build/.
# Sourced, not run: it sets ROOT and BUILD for the caller.

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${SORVANEL_BUILD_DIR:-$ROOT/build}"

SORVANEL_PACKAGES=(
    cmake ninja-build g++            # the toolchain
    qt6-base-dev                     # Qt Core, Widgets, Network, D-Bus, Test
    qt6-svg-dev                      # drawing the app's icons and artwork
    fonts-dejavu-core                # a font for the windows, also in off-screen tests
    qt6-tools-dev qt6-l10n-tools     # CMake support for translations, lupdate and lrelease
    qt6-translations-l10n            # Qt's own translations for dialogs and buttons
    help2man groff-base              # manual pages from the programs' own --help, and their check
    locales                          # the German locale's sources, compiled by the build for the German pages
    bash-completion                  # runs the command line's completion in its test
    libsqlite3-dev                   # the settings suite
    libicu-dev                       # name collation (the ICU that Qt uses), called directly for sort keys
    libsystemd-dev pkgconf           # sd_notify: the watcher tells systemd when it really watches
    curl wget aria2 firefox-esr      # real downloaders (and Debian's browser) for the tests of downloads in progress
    desktop-file-utils               # the desktop entry's validator, run by the tests
    appstream                        # the metainfo's validator, run by the tests
    dbus                             # a private session bus (dbus-run-session) for the notification tests
    exfat-fuse exfatprogs ntfs-3g    # exFAT and NTFS volumes through FUSE, for the tests of such destinations
    strace                           # stops a program at an exact system call, for the tests of kills there
    trash-cli                        # a real Trash client: lists and restores what a run sent to the Trash
)

sorvanel_install_packages() {
    local missing=()
    local package
    for package in "${SORVANEL_PACKAGES[@]}" "$@"; do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$package")
        fi
    done
    if [ "${#missing[@]}" -eq 0 ]; then
        return 0
    fi
    echo "Installing Debian packages: ${missing[*]}" >&2
    local sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "These packages are missing and there is no sudo: ${missing[*]}" >&2
            echo "Install them as root with: apt-get install ${missing[*]}" >&2
            return 1
        fi
        sudo=(sudo)
    fi
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

sorvanel_build() {
    local extra=("$@")
    if [ ! -f "$BUILD/build.ninja" ] || [ "${#extra[@]}" -gt 0 ]; then
        cmake -S "$ROOT" -B "$BUILD" -G Ninja "${extra[@]}" >&2
    fi
    cmake --build "$BUILD" >&2
}
