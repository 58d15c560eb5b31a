#pragma once

#include "bench/documents.h"

#include <cstddef>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

namespace bench {

/// Bytes that the program has from the C library's allocator, its own bookkeeping included. Asked for outside
/// of what is timed; what the libraries do is not slowed down by counting.
std::size_t BytesInUse();

/// Makes the allocator keep what is freed: what has been made once is made the next time without new pages.
void KeepFreedMemory();
/// Lets the allocator join what was freed. It puts that off to the next large request, which may be in the
/// middle of what is timed next.
void JoinFreedMemory();
/// Gives all that is free back, for the next one to start as a new process does.
void ReturnFreedMemory();

/// Processor time of this thread, in seconds: what else runs on the machine counts as little as it can.
double ThreadSeconds();

/// Ends the program when they differ: a library that reads something else is not worth timing.
void CheckTally(const std::string& what, const CTally& found, const CTally& expected);
/// Ends the program unless `isRight`.
void Check(bool isRight, const std::string& what);

/// Items and bytes a second, of the whole document once an iteration.
void SetRates(benchmark::State& state, std::size_t items, std::size_t bytes);

/// Registers a benchmark that sets the time of each iteration itself.
template <class Run>
void RegisterTimed(const std::string& name, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Unit(benchmark::kMillisecond);
}

/// A folder for files to measure with, removed with all that is in it.
class CTemporaryFolder {
  public:
    CTemporaryFolder();
    ~CTemporaryFolder();
    CTemporaryFolder(const CTemporaryFolder&)            = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    /// The one of this program; it goes when the program ends.
    static const CTemporaryFolder& Shared();

    std::filesystem::path operator/(const char* name) const { return mPath / name; }
    /// Writes a file there; returns its path.
    std::string Write(const char* name, const std::string& bytes) const;

  private:
    std::filesystem::path mPath;
};

// Each file of benchmarks has one of these.
void RegisterTreeBenchmarks();
void RegisterStreamBenchmarks();
void RegisterRequestBenchmarks();

}  // namespace bench
