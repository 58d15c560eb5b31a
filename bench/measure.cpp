#include "bench/measure.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>

#include <malloc.h>

namespace bench {

std::size_t BytesInUse() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void KeepFreedMemory() {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_TOP_PAD, 64 << 20);
}

void JoinFreedMemory() {
    void* large = std::malloc(1 << 20);
    benchmark::DoNotOptimize(large);
    std::free(large);
}

void ReturnFreedMemory() {
    malloc_trim(0);
}

double ThreadSeconds() {
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void CheckTally(const std::string& what, const CTally& found, const CTally& expected) {
    // Not every library keeps the order, so the sums differ in their last digits.
    const bool sameSum = std::abs(found.mSum - expected.mSum) <= 1e-9 * std::abs(expected.mSum) + 1e-3;
    if (found.mItems == expected.mItems && sameSum) return;
    std::fprintf(stderr, "%s: %zu items with the sum %.17g, but %zu and %.17g were expected\n", what.c_str(),
                 found.mItems, found.mSum, expected.mItems, expected.mSum);
    std::exit(1);
}

void Check(bool isRight, const std::string& what) {
    if (isRight) return;
    std::fprintf(stderr, "%s: wrong, and so not worth timing\n", what.c_str());
    std::exit(1);
}

void SetRates(benchmark::State& state, std::size_t items, std::size_t bytes) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(items));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

CTemporaryFolder::CTemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tarvex-bench-XXXXXX").string();
    Check(mkdtemp(name.data()) != nullptr, "a temporary folder");
    mPath = name;
}

CTemporaryFolder::~CTemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

const CTemporaryFolder& CTemporaryFolder::Shared() {
    static const CTemporaryFolder folder;
    return folder;
}

std::string CTemporaryFolder::Write(const char* name, const std::string& bytes) const {
    const std::filesystem::path path = mPath / name;
    std::ofstream               file(path, std::ios::binary);
    file << bytes;
    Check(static_cast<bool>(file.flush()), path.string());
    return path.string();
}

}  // namespace bench
