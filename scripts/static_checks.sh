#!/bin/sh
# Runs one static check over the sources, or both: scripts/static_checks.sh [clang_tidy|cppcheck]
# Needs the builds `fuzz` (clang's) and, for what is built for Windows alone, `windows-x64`; configured
# is enough but for the header that the latter generates. Exit status 1 when there is any finding.
# TARVEX_BUILDS names the folder with the builds, when it is another than build/. clang-tidy takes minutes
# for everything: it looks at the files that the last commits changed, or with TARVEX_TIDY=all at each.
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
builds=${TARVEX_BUILDS:-$root/build}
cd "$root" || exit 2

# Of files listed on lines, those that clang-tidy is to look at.
to_be_tidied() {
    commits=3
    changed=
    [ "${TARVEX_TIDY:-}" = all ] || changed=$(git diff --name-only HEAD~$commits -- '*.cpp' '*.h' 2>/dev/null)
    # Who includes a header that changed is not known here: then it is all of them.
    if [ -n "$changed" ] && ! echo "$changed" | grep -q '\.h$'; then
        grep -Fx "$changed"
    else
        cat
    fi
}

# tidy BUILD FILES OPTION...: checks files, each listed on a line, as many at once as there are processors.
tidy() {
    database=$builds/$1
    files=$2
    shift 2
    [ -f "$database/compile_commands.json" ] || { echo "no build in $database" >&2; return 1; }
    # What it says besides its findings is how many it has not shown.
    echo "$files" | to_be_tidied | nice -n 5 xargs -r -P "$(nproc)" -n 3 clang-tidy --quiet -p "$database" "$@" 2>/dev/null
}

clang_tidy() {
    gcc=/usr/lib/gcc/x86_64-w64-mingw32/12-win32/include/c++
    # Of the overridden functions of COM none says noexcept, and clang takes that for Microsoft's dialect.
    failed=0
    tidy fuzz "$(find lib apps examples -name '*.cpp' ! -path '*/win32/*' ! -name shell_client.cpp \
        ! -name doctor_windows.cpp)" || failed=1
    # RegObject walks a view backwards, which this clang cannot compile from that library's headers.
    tidy windows-x64 "$(find lib/tessel/platform/win32 shellext examples/shell_client.cpp apps/doctor_windows.cpp \
        -name '*.cpp' ! -name RegObject.cpp)" \
        --extra-arg=-isystem$gcc --extra-arg=-isystem$gcc/x86_64-w64-mingw32 \
        --extra-arg=-Wno-unknown-warning-option --extra-arg=-Wno-microsoft-exception-spec || failed=1
    return $failed
}

check_cpp() {
    cppcheck --std=c++20 --enable=warning,performance,portability --inline-suppr --quiet -j "$(nproc)" \
        --error-exitcode=1 --library=windows --suppressions-list=scripts/cppcheck_exceptions.txt \
        --template='{file}:{line}: {severity}: {message} [{id}]' -I lib -I . lib apps examples shellext
}

case ${1:-both} in
clang_tidy) clang_tidy ;;
cppcheck) check_cpp ;;
both)
    clang_tidy
    tidied=$?
    check_cpp && exit $tidied
    ;;
*)
    echo "usage: scripts/static_checks.sh [clang_tidy|cppcheck]" >&2
    exit 2
    ;;
esac
