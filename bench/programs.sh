#!/bin/sh
# Measures tarvex-preview as a whole process beside programs of other packages that extract previews.
# usage: bench/programs.sh
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/common.sh"

# shellcheck disable=SC2086  # lists of words
install_packages $tools_native $tools_bench exiv2 libgdk-pixbuf2.0-bin libzstd1
build bench tarvex-preview tarvex_bench_nothing

# blender's package needs 150 others; its thumbnailer needs none of them.
blender=$root/build/bench/blender
if [ ! -x "$blender/usr/bin/blender-thumbnailer" ]; then
    say "Fetching blender-thumbnailer"
    mkdir -p "$blender"
    as_root apt-get -qq update || die "the package lists cannot be fetched"
    (cd "$blender" && apt-get -qq -o APT::Sandbox::User=root download blender && dpkg -x blender_*.deb . && rm blender_*.deb) ||
        die "cannot fetch the package blender"
fi

say "Measuring"
python3 "$root/bench/programs.py" "$root/build/bench/bin" "$root/samples" "$blender/usr/bin/blender-thumbnailer"
