#!/bin/sh
# Makes a 32-bit Debian system with Wine in a folder, once; about 1.2 GB. Needs root.
set -eu
system=${TARVEX_WINE32:-/var/cache/tarvex/wine32}
[ ! -x "$system/usr/bin/wine" ] || exit 0

new="$system.new"
rm -rf "$new"
mkdir -p "$new"
debootstrap --arch=i386 --variant=minbase bookworm "$new" >"$new.log" 2>&1 &&
    chroot "$new" sh -c 'apt-get -qq update &&
        DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends wine32 wine' \
        </dev/null >>"$new.log" 2>&1 || {
    tail -20 "$new.log" >&2
    exit 1
}
rm -rf "$system"
mv "$new" "$system"
