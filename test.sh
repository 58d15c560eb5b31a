#!/bin/sh
# Builds and runs every test: natively, under the address and undefined behaviour sanitizers, those of
# threads under the thread sanitizer, and under Wine for both kinds of Windows; installs the packages in systems of
# their own, fuzzes for some seconds, and runs the static checks. Ends with a line "N passed, M failed".
# usage: ./test.sh [native|asan|tsan|windows-x64|windows-x86|packages|fuzz|checks ...]   (all of them without arguments)
set -u
root=$(cd "$(dirname "$0")" && pwd)
. "$root/scripts/common.sh"

builds=${*:-native asan tsan windows-x64 windows-x86 packages fuzz checks}
results=$root/build/results
rm -rf "$results"

# shellcheck disable=SC2086  # lists of words
install_packages $tools_native $tools_windows $tools_tests $tools_packages_linux $tools_packages_windows $tools_checks

# run_tests NAME FOLDER [ARGUMENT...]: runs tests of a build folder, told as NAME; the arguments are ctest's.
run_tests() {
    name=$1
    folder=$2
    shift 2
    say "Testing $name"
    mkdir -p "$results/$name"
    case $folder in
    windows-*) drive=Z: ;; # where Wine has the root folder
    *) drive= ;;
    esac
    (cd "$root" && GTEST_OUTPUT="xml:$drive$results/$name/" \
        ctest --test-dir "build/$folder" "$@" --output-junit "$results/$name/ctest.xml" \
        --output-on-failure --timeout 600 </dev/null)
}

# prefixes MACHINE...: makes the Wine prefixes of machines that run 32-bit programs, in a system that is fetched
# while others build.
prefixes() {
    say "Preparing Wine for 32-bit programs"
    [ -z "$wine32" ] || wait "$wine32" || { cat "$root/build/wine32.log"; die "cannot make the system for it"; }
    wine32=
    for machine in "$@"; do
        as_root "$root/scripts/make_wine_prefix.sh" "$machine" || die "cannot make a Wine prefix"
    done
}

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

case " $builds " in
*" windows-x86 "* | *" packages "*)
    mkdir -p "$root/build"
    as_root true # asks for a password here, if it asks
    as_root "$root/scripts/make_wine32.sh" >"$root/build/wine32.log" 2>&1 &
    wine32=$!
    ;;
esac
installers= # tests that go on while others run

for preset in $builds; do
    case $preset in
    checks) # they look at what these would compile
        build fuzz fuzz_targets
        build windows-x64
        static_checks
        ;;
    tsan)
        build tsan threads_test in_order_test
        run_tests tsan tsan -R '^(threads|in_order)_test$'
        ;;
    fuzz)
        build fuzz fuzz_targets
        run_tests fuzz fuzz -j2
        ;;
    packages) # what is installed, under a label of its own
        build native
        build windows-x86
        build windows-x64
        "$root/scripts/make_packages.sh" || die "cannot make the packages"
        prefixes wow64 i686
        run_tests packages-native native -L '^packages$'
        # Two Windows systems that know nothing of each other, nor of what comes next.
        for machine in x86 x64; do
            run_tests packages-windows-$machine windows-$machine -L '^packages$' >"$root/build/packages-$machine.log" 2>&1 &
            installers="$installers $!"
        done
        ;;
    windows-x64)
        build windows-x64
        "$root/scripts/make_wine_prefix.sh" x86_64 || die "cannot make a Wine prefix"
        run_tests windows-x64 windows-x64 -LE '^packages$' -j2
        ;;
    windows-x86)
        build windows-x86
        prefixes i686
        run_tests windows-x86 windows-x86 -LE '^packages$'
        ;;
    *)
        build "$preset"
        run_tests "$preset" "$preset" -LE '^packages$' -j2
        ;;
    esac
done

# shellcheck disable=SC2086  # a list
[ -z "$installers" ] || { wait $installers; cat "$root"/build/packages-x*.log; }

say "Results"
python3 "$root/scripts/tally.py" "$results"
