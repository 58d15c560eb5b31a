// tarvex_bench: measures the block library beside others that people would pick instead. Takes the options of
// Google Benchmark; names are JOB/LIBRARY/SIZE.

#include "bench/measure.h"

int main(int argc, char** argv) {
    bench::KeepFreedMemory();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    bench::RegisterTreeBenchmarks();
    bench::RegisterStreamBenchmarks();
    bench::RegisterRequestBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
