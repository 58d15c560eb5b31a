#!/bin/sh
# Makes what users install, in build/packages/.
# usage: scripts/make_packages.sh [linux|windows ...]   (all of them without arguments)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/common.sh"

[ $# -gt 0 ] || set -- linux windows
for system in "$@"; do
    case $system in
    linux)
        # shellcheck disable=SC2086  # lists of words
        install_packages $tools_native $tools_packages_linux
        build native packages
        ;;
    windows)
        # shellcheck disable=SC2086
        install_packages $tools_native $tools_windows $tools_packages_windows
        build windows-x86 TarvexShellExt tarvex-preview tarvex-blocks
        build windows-x64 packages
        ;;
    *) die "there are no packages for $system" ;;
    esac
done

say "Packages"
ls -l "$root/build/packages"
