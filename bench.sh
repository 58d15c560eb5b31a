#!/bin/sh
# Measures the block library and the preview beside other libraries and the bare system calls. Prints one table;
# build/bench/results.json has all figures.
# usage: ./bench.sh [--write-docs | FILTER]   (a regular expression over JOB/LIBRARY/SIZE, "^tree/.*/main")
#   --write-docs: the table goes into docs/performance.md too
set -eu
root=$(cd "$(dirname "$0")" && pwd)
. "$root/scripts/common.sh"

usage="usage: $0 [--write-docs | FILTER]"
docs=
case ${1-} in
-h | --help) echo "$usage" && exit ;;
--write-docs) docs=1 && shift && [ $# -eq 0 ] || die "$usage" ;; # of the whole table, or what is left out is lost
-*) die "$usage" ;;
esac
[ $# -le 1 ] || die "$usage"

# shellcheck disable=SC2086  # lists of words
install_packages $tools_native $tools_bench
build bench tarvex_bench

results=$root/build/bench/results.json
log=$root/build/bench/run.log
say "Measuring${1:+ $1}"
# The repetitions of all benchmarks are shuffled, so that a machine that slows down does so for all alike.
"$root/build/bench/bin/tarvex_bench" --benchmark_filter="${1:-.}" --benchmark_min_time=0.03 \
    --benchmark_repetitions=15 --benchmark_enable_random_interleaving=true \
    --benchmark_out="$results.new" --benchmark_out_format=json >"$log" 2>&1 ||
    { tail -5 "$log"; die "the benchmarks ended early"; }
[ -s "$results.new" ] || die "nothing is called ${1:-so}: --benchmark_list_tests of build/bench/bin/tarvex_bench lists what there is"
mv "$results.new" "$results"
python3 "$root/bench/table.py" ${docs:+--write-docs "$root/docs/performance.md"} "$results"
