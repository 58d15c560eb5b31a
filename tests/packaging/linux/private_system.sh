#!/bin/sh
# Runs a command as root in a copy of this system: it may install and remove packages, and sees what it
# did, while the system itself stays as it is.
# usage: private_system.sh COMMAND [ARGUMENT...]
#
# What the command changes below /usr, /etc and /var lies in $PRIVATE_CHANGES/FOLDER; the untouched folders are at
# $PRIVATE_ORIGINAL/FOLDER. Home, $TMPDIR and /run are empty. What it started ends with it.
set -eu
if [ "$(id -u)" -ne 0 ]; then
    exec sudo "$0" "$@"
fi
if [ -z "${PRIVATE_SYSTEM-}" ]; then
    PRIVATE_SYSTEM=$(mktemp -d)
    export PRIVATE_SYSTEM
    status=0
    unshare --mount --pid --fork --kill-child --mount-proc "$0" "$@" || status=$?
    rmdir "$PRIVATE_SYSTEM"
    exit $status
fi

# Changes are kept in memory.
mount -t tmpfs -o mode=755 private "$PRIVATE_SYSTEM"
cd "$PRIVATE_SYSTEM"
mkdir changes original work home tmp
for folder in usr etc var; do
    mkdir changes/$folder original/$folder work/$folder
    mount --bind /$folder original/$folder
    mount -t overlay -o "lowerdir=original/$folder,upperdir=changes/$folder,workdir=work/$folder" private /$folder
done
mount -t tmpfs -o mode=755 private /run
export PRIVATE_CHANGES="$PRIVATE_SYSTEM/changes" PRIVATE_ORIGINAL="$PRIVATE_SYSTEM/original"
export HOME="$PRIVATE_SYSTEM/home" TMPDIR="$PRIVATE_SYSTEM/tmp"
unset XDG_RUNTIME_DIR XDG_CACHE_HOME XDG_DATA_HOME XDG_CONFIG_HOME DBUS_SESSION_BUS_ADDRESS DISPLAY WAYLAND_DISPLAY
cd /
"$@" # as a child: the first process of all inherits those whose parents ended
