#!/bin/sh
# Builds and runs every test: natively, under the address and undefined behaviour sanitizers, those of
# threads under the thread sanitizer, and under Wine for both kinds of Windows; fuzzes for some seconds, and
# runs the static checks. Ends with a line "N passed, M failed".
# usage: ./test.sh [native|asan|tsan|windows-x64|windows-x86|fuzz|checks ...]   (all of them without arguments)
set -u
root=$(cd "$(dirname "$0")" && pwd)
. "$root/scripts/common.sh"

builds=${*:-native asan tsan windows-x64 windows-x86 fuzz checks}
results=$root/build/results
rm -rf "$results"

# shellcheck disable=SC2086  # lists of words
install_packages $tools_native $tools_windows $tools_tests $tools_checks

# static_checks: each is a test, which finds nothing or fails; told as ctest tells its own.
static_checks() {
    mkdir -p "$results/checks"
    echo '<testsuite>' >"$results/checks/ctest.xml"
    for check in clang_tidy cppcheck; do
        say "Checking with $check"
        status=run
        "$root/scripts/static_checks.sh" $check || status=fail
        echo "<testcase name=\"$check\" status=\"$status\"/>" >>"$results/checks/ctest.xml"
    done
    echo '</testsuite>' >>"$results/checks/ctest.xml"
}

for preset in $builds; do
    tests=.
    case $preset in
    checks) # they look at what these would compile
        build fuzz fuzz_targets
        build windows-x64
        static_checks
        continue
        ;;
    tsan)
        tests='^threads_test$'
        build tsan threads_test
        ;;
    fuzz) build fuzz fuzz_targets ;;
    *) build "$preset" ;;
    esac
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
        ctest --test-dir "build/$preset" -R "$tests" --output-junit "$results/$preset/ctest.xml" \
        --output-on-failure --timeout 600 </dev/null)
done

say "Results"
python3 "$root/scripts/tally.py" "$results"
