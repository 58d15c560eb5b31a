#!/bin/sh
# Shows the product at work: builds the shell extension, registers it in a fresh Wine prefix, and lets
# a COM client ask it for the tips and thumbnails of the sample projects.
# usage: ./run.sh [PROJECT...]   (the samples without arguments)
set -eu
root=$(cd "$(dirname "$0")" && pwd)
. "$root/scripts/common.sh"

# shellcheck disable=SC2086  # lists of words
install_packages $tools_native $tools_windows
[ $# -gt 0 ] || set -- "$root"/samples/*.tarvex

build native tarvex-preview tarvex-blocks
build windows-x64 TarvexShellExt shell_client tarvex-preview

windows() { "$root/scripts/run_windows.sh" x86_64 "$@" </dev/null; }
bin=$root/build/windows-x64/bin
pictures=$root/build/pictures
rm -rf "$pictures"
mkdir -p "$pictures"

say "A fresh Wine prefix, with TarvexShellExt.dll registered"
"$root/scripts/make_wine_prefix.sh" x86_64
windows regsvr32 /s "$bin/TarvexShellExt.dll" || die "regsvr32 refused the DLL"

say "Tips and thumbnails from the DLL, through COM"
windows "$bin/shell_client.exe" "$pictures" "$@" || die "the client could not create the object"
echo "(Names are shown as the Windows code page has them: \"?\" stands for what it lacks.)"

say "The same tips from the native tool"
status=0
"$root/build/native/bin/tarvex-preview" tip "$@" || status=$?

say "Done"
echo "The pictures are in $pictures."
echo "Try next:  $root/build/native/bin/tarvex-preview info $root/samples/horn_feed.tarvex"
exit $status
