#!/bin/sh
# Builds and runs every test: natively, under the address and undefined behaviour sanitizers, and
# under Wine for both kinds of Windows. Ends with a line "N passed, M failed".
# usage: ./test.sh [native|asan|windows-x64|windows-x86 ...]   (all of them without arguments)
set -u
root=$(cd "$(dirname "$0")" && pwd)
. "$root/scripts/common.sh"

builds=${*:-native asan windows-x64 windows-x86}
results=$root/build/results
rm -rf "$results"

# shellcheck disable=SC2086  # lists of words
install_packages $tools_native $tools_windows $tools_tests

for preset in $builds; do
    build "$preset"
    case $preset in
    windows-x64) "$root/scripts/make_wine_prefix.sh" x86_64 || die "cannot make a Wine prefix" ;;
    windows-x86)
        say "Preparing 32-bit Wine"
        as_root "$root/scripts/make_wine32.sh" || die "cannot make the 32-bit system"
        as_root "$root/scripts/make_wine_prefix.sh" i686 || die "cannot make a Wine prefix"
        ;;
    esac
    say "Testing $preset"
    mkdir -p "$results/$preset"
    case $preset in
    windows-*) drive=Z: ;; # where Wine has the root folder
    *) drive= ;;
    esac
    (cd "$root" && GTEST_OUTPUT="xml:$drive$results/$preset/" \
        ctest --test-dir "build/$preset" --output-junit "$results/$preset/ctest.xml" \
        --output-on-failure --timeout 600 </dev/null)
done

say "Results"
python3 "$root/scripts/tally.py" "$results"
