#!/bin/sh
# Makes a Debian system with Wine for 32-bit programs in a folder, once; about 1.6 GB. Needs root. With wine64
# beside wine32 it serves 32-bit prefixes and those that run programs of both kinds.
set -eu
system=${TARVEX_WINE32:-/var/cache/tarvex/wine}
[ ! -x "$system/usr/lib/wine/wine" ] || [ ! -x "$system/usr/lib/wine/wine64" ] || exit 0

# From the main archive alone: there the packages of both machines have the same versions, as they must.
new="$system.new"
rm -rf "$new"
mkdir -p "$new"
debootstrap --arch=amd64 --variant=minbase bookworm "$new" >"$new.log" 2>&1 &&
    chroot "$new" sh -c 'dpkg --add-architecture i386 && apt-get -qq update &&
        DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends wine64 wine32:i386 wine &&
        rm -rf /var/lib/apt/lists/* && apt-get clean' \
        </dev/null >>"$new.log" 2>&1 || {
    tail -20 "$new.log" >&2
    exit 1
}
rm -rf "$system"
mv "$new" "$system"
