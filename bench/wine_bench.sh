#!/bin/sh
# Measures the shell extension under Wine beside the bare system calls that its requests need.
# usage: bench/wine_bench.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/common.sh"

# shellcheck disable=SC2086  # lists of words
install_packages $tools_native $tools_windows
build bench-windows request_bench load_bench
[ -f "$root/build/wine/x86_64/system.reg" ] || "$root/scripts/make_wine_prefix.sh" x86_64

say "Measuring"
for program in load_bench request_bench; do
    "$root/scripts/run_windows.sh" x86_64 "$root/build/bench-windows/bin/$program.exe"
done
