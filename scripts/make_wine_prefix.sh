#!/bin/sh
# Makes the Wine prefix of a machine anew.
# usage: make_wine_prefix.sh x86_64|i686|wow64
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
machine=${1:?usage: make_wine_prefix.sh x86_64|i686|wow64}
prefix="$root/build/wine/$machine"
log="$root/build/wine-$machine.log"
mkdir -p "$root/build"

# What still runs in the old prefix would write into the new one.
if [ "$machine" = x86_64 ] && [ -d "$prefix" ]; then
    WINEPREFIX="$prefix" wineserver -k || true
    WINEPREFIX="$prefix" wineserver -w
fi
rm -rf "$prefix"

# The setup goes on behind the command that started it: only the server's end says that it is complete.
TARVEX_WINE_END=-w "$root/scripts/run_windows.sh" "$machine" wineboot --init </dev/null >"$log" 2>&1 &&
    { [ "$machine" != x86_64 ] || WINEPREFIX="$prefix" wineserver -w; } && [ -f "$prefix/system.reg" ] || {
    cat "$log" >&2
    exit 1
}
