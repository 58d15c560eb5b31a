#!/bin/sh
# Runs a Windows program under Wine, in a prefix below build/wine/.
# usage: run_windows.sh x86_64|i686|wow64 PROGRAM [ARGUMENT...]
#
# i686 is a 32-bit Windows, wow64 a 64-bit one that runs programs of both kinds; x86_64 runs its own kind only, but
# needs no more than the packages of the system that it runs on.
#
# TARVEX_WINE_RUNS says that the caller keeps a program running there, so that Wine need not be started.
#
# 32-bit Wine does not install beside the libraries of every system: it lives in one of its own in a folder (made
# by scripts/make_wine32.sh) that is entered with the checkout in its usual place.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
machine=${1:?usage: run_windows.sh x86_64|i686|wow64 PROGRAM [ARGUMENT...]}
shift

export WINEPREFIX="$root/build/wine/$machine"
# No downloads, and no entries in the menus of whoever runs this.
export WINEDEBUG="${WINEDEBUG:--all}" WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml,winemenubuilder.exe=}"
export LC_ALL=C.UTF-8  # file names keep their characters
mkdir -p "$root/build/wine"

case $machine in
x86_64)
    # The first program starts Wine's services, which keep its outputs open for as long as they run: whoever
    # reads them from a pipe would wait. So the first program is one whose outputs nobody reads.
    [ -n "${TARVEX_WINE_RUNS-}" ] || wine cmd /c exit </dev/null >/dev/null 2>&1 || true
    exec wine "$@"
    ;;
i686 | wow64)
    [ "$(id -u)" -eq 0 ] || exec sudo -E "$0" "$machine" "$@"
    system=${TARVEX_WINE32:-/var/cache/tarvex/wine}
    case $machine in # the kind of the prefix when it is made
    i686) export WINEARCH=win32 wine=wine ;;
    wow64) export WINEARCH=win64 wine=/usr/lib/wine/wine64 ;; # not found by its name
    esac
    mkdir -p "$system$root"
    # The server is told to go (TARVEX_WINE_END=-w: waited for), which saves the registry; otherwise it
    # would be killed with the others.
    # shellcheck disable=SC2016  # expanded by the inner shells
    exec unshare -m -p -f --kill-child sh -c '
        system=$1 root=$2
        shift 2
        mount --bind "$root" "$system$root"
        mount -t proc proc "$system/proc"
        mount --bind /dev "$system/dev"
        exec chroot "$system" sh -c '\''
            cd "$1" && shift
            status=0
            $wine "$@" || status=$?
            wineserver ${TARVEX_WINE_END:--k}
            exit $status
        '\'' sh "$PWD" "$@"
    ' sh "$system" "$root" "$@"
    ;;
*)
    echo "run_windows.sh: unknown machine $machine" >&2
    exit 2
    ;;
esac
