#!/bin/sh
# Runs fuzz targets, one after the other: scripts/fuzz.sh [--bin FOLDER] SECONDS [TARGET...]
# Builds the preset `fuzz` first unless it is told where the programs are. Starts from the inputs in fuzz/
# and samples/; what it finds is put into build/findings and ends it. TARVEX_FUZZ_CORPUS names
# a folder in which the inputs that went somewhere new are kept for the next run; without it they go.
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/scripts/common.sh"

bin=
[ "${1:-}" != --bin ] || { bin=$2; shift 2; }
[ $# -gt 0 ] || die "usage: scripts/fuzz.sh [--bin FOLDER] SECONDS [TARGET...]"
seconds=$1
shift
[ $# -gt 0 ] || set -- lexer reader preview text index picture
if [ -z "$bin" ]; then
    # shellcheck disable=SC2086  # lists of words
    install_packages $tools_native $tools_clang
    build fuzz
    bin=$root/build/fuzz/bin
fi

findings=$root/build/findings
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
trap 'exit 1' INT TERM

# Bytes that an input has at most: as many as it takes to get everywhere, and no more, for speed.
longest() {
    case $1 in
    text) echo 200 ;;
    preview) echo 6000 ;; # several chunks of the search, and a line longer than its buffer
    picture) echo 4000 ;;
    *) echo 1500 ;;
    esac
}

for target in "$@"; do
    say "Fuzzing $target for $seconds seconds"
    corpus=${TARVEX_FUZZ_CORPUS:-$scratch}/$target
    mkdir -p "$findings" "$corpus"
    set -- "$corpus"
    for folder in "$root/fuzz/seeds/$target" "$root/fuzz/regressions/$target"; do
        [ ! -d "$folder" ] || set -- "$@" "$folder"
    done
    [ "$target" != preview ] || set -- "$@" "$root/samples"
    # A run that finds nothing says how much it ran; its progress is of no interest.
    if nice -n 5 "$bin/fuzz_$target" -max_total_time="$seconds" -max_len="$(longest "$target")" \
        -timeout=20 -report_slow_units=20 -rss_limit_mb=2048 -malloc_limit_mb=512 -dict="$root/fuzz/tarvex.dict" \
        -artifact_prefix="$findings/$target-" -print_final_stats=1 "$@" \
        >"$scratch/log" 2>&1 </dev/null; then
        grep -E '^(Done|stat::(number_of_executed_units|peak_rss_mb))|DONE' "$scratch/log"
    else
        tail -n 60 "$scratch/log"
        die "$target: found something, see $findings"
    fi
done
