#!/bin/sh
# Makes the Wine prefix of a machine anew.
# usage: make_wine_prefix.sh x86_64|i686
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
machine=$1
prefix="$root/build/wine/$machine"
log="$root/build/wine-$machine.log"

[ "$machine" != x86_64 ] || WINEPREFIX="$prefix" wineserver -k 2>/dev/null || true
rm -rf "$prefix"
mkdir -p "$root/build"
"$root/scripts/run_windows.sh" "$machine" wineboot --init </dev/null >"$log" 2>&1 && [ -d "$prefix/drive_c" ] || {
    cat "$log" >&2
    exit 1
}
