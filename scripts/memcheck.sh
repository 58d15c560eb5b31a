#!/bin/sh
# Runs the way of a preview under valgrind's memcheck, on the samples and on the inputs of the fuzz targets:
# scripts/memcheck.sh [FOLDER], where the native build is (build/native). Exit status 1 when it finds anything.
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/common.sh"
# shellcheck disable=SC2086  # a list of words
install_packages $tools_memcheck
bin=${1:-$root/build/native}/bin
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failed=0

# check MOST COMMAND...: nothing is found, and the command ends with a status of at most MOST.
check() {
    most=$1
    shift
    valgrind --quiet --error-exitcode=9 --leak-check=full --errors-for-leak-kinds=definite \
        --suppressions="$root/scripts/memcheck_exceptions.supp" "$@" >"$scratch/out"
    status=$?
    [ $status -le "$most" ] || { echo "status $status: $*" >&2; failed=1; }
}

check 0 "$bin/tarvex-preview" tip "$root"/samples/*.tarvex
for sample in "$root"/samples/*.tarvex; do # some have no picture, which is no finding
    check 1 "$bin/tarvex-preview" thumbnail -o "$scratch/picture.png" "$sample" 2>"$scratch/err"
    grep -v '^tarvex-preview: ' "$scratch/err" >&2
done
[ -s "$scratch/picture.png" ] || { echo "no sample gives a picture" >&2; failed=1; }
check 0 "$bin/fuzz_preview" "$root/fuzz/seeds/preview" "$root/samples"
check 0 "$bin/fuzz_picture" "$root/fuzz/seeds/picture" "$root/fuzz/regressions/picture"
exit $failed
