#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"
#include "tessel/streamio/token_istream.h"
#include "viewkit/tools/OpenFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

namespace ProjectPreviewHelper {

namespace {

constexpr std::string_view kPreviewBeginMarker       = "$begin 'ProjectPreview'";
constexpr std::string_view kProjectEndMarker         = "$end 'TarvexProject'";
constexpr std::string_view kReferencedFilesEndMarker = "$end 'AllReferencedFilesForProject'";

constexpr std::size_t kChunkSize      = 1000;  // bytes read per pass, stepping back from the end
constexpr std::size_t kPreviewOverlap = 100;   // bytes seen again, so that a marker across a border is found
constexpr std::size_t kSearchSize     = kChunkSize + kPreviewOverlap + 1;

static_assert(std::max({kPreviewBeginMarker.size(), kProjectEndMarker.size(),
                        kReferencedFilesEndMarker.size()}) <= kPreviewOverlap,
              "no marker is longer than what is seen again");

/// Reads a file backwards, a chunk a pass.
class CBackwardScan {
  public:
    enum class EFound { kNothingYet, kPreview, kNoPreview };

    explicit CBackwardScan(std::FILE* file) : mFile(file) {}

    /// Goes to the end. False when the file is too long for 32-bit positions.
    bool Start() {
        const int res = std::fseek(mFile, 0, SEEK_END);
        TESSEL_ASSERT(res == 0);
        mChunkStart = std::ftell(mFile);
        return mChunkStart >= 0 && mChunkStart <= std::numeric_limits<std::int32_t>::max();
    }

    /// Reads the chunk before the last one and searches it.
    EFound Pass();
    /// Where the marker was found, in bytes from the start of the file.
    std::uint32_t Offset() const { return static_cast<std::uint32_t>(mChunkStart + mMarker); }

  private:
    bool ReadChunk();
    long Find(std::string_view marker) const {
        const auto at = std::search(mBuffer.begin(), mBuffer.end(), marker.begin(), marker.end());
        return at == mBuffer.end() ? -1 : static_cast<long>(at - mBuffer.begin());
    }

    std::FILE* mFile;
    // Searched whole in every pass: behind a short chunk and the carry stands what earlier passes
    // left there.
    std::array<char, kSearchSize>     mBuffer{};
    std::array<char, kPreviewOverlap> mCarry{};
    std::size_t                       mCarried    = 0;  // bytes in the carry: none at first
    long                              mChunkStart = 0;
    long                              mMarker     = 0;
    bool                              mAtStart    = false;
};

bool CBackwardScan::ReadChunk() {
    const long endPos = mChunkStart;
    mAtStart          = endPos < static_cast<long>(kChunkSize);
    mChunkStart       = mAtStart ? 0 : endPos - static_cast<long>(kChunkSize);
    if (std::fseek(mFile, mChunkStart, SEEK_SET) != 0) {
        TESSEL_ASSERT_TEXT(false, "0");
        return false;
    }
    const auto numCharsWeWillBeReading = static_cast<std::size_t>(endPos - mChunkStart);
    const auto numCharsRead            = std::fread(mBuffer.data(), 1, numCharsWeWillBeReading, mFile);
    TESSEL_ASSERT(numCharsRead == numCharsWeWillBeReading);
    std::copy_n(mCarry.begin(), mCarried, mBuffer.begin() + static_cast<std::ptrdiff_t>(numCharsRead));
    return true;
}

CBackwardScan::EFound CBackwardScan::Pass() {
    if (!ReadChunk()) return EFound::kNoPreview;
    const long offsetIntoBuffer = Find(kPreviewBeginMarker);
    if (offsetIntoBuffer >= 0) {
        TESSEL_ASSERT(offsetIntoBuffer < static_cast<long>(kChunkSize));
        mMarker = offsetIntoBuffer;
        return EFound::kPreview;
    }
    if (Find(kProjectEndMarker) >= 0 || Find(kReferencedFilesEndMarker) >= 0 || mAtStart)
        return EFound::kNoPreview;
    mCarried = kPreviewOverlap;
    std::copy_n(mBuffer.begin(), kPreviewOverlap, mCarry.begin());
    return EFound::kNothingYet;
}

}  // namespace

bool FindPreviewBlockOffset(const AString& path, std::uint32_t& offset) {
    const COpenFile projFile(platform::OpenForReading(path.ToNarrow().c_str(), false));
    TESSEL_ASSERT(projFile);
    if (!projFile) return false;
    // Chunks are read as they are, not in larger pieces: the tail is all that is wanted.
    std::setvbuf(projFile.get(), nullptr, _IONBF, 0);

    CBackwardScan scan(projFile.get());
    if (!scan.Start()) return false;
    auto found = CBackwardScan::EFound::kNothingYet;
    while (found == CBackwardScan::EFound::kNothingYet)
        found = scan.Pass();
    if (found != CBackwardScan::EFound::kPreview) return false;
    offset = scan.Offset();
    return true;
}

bool OpenPreviewBlock(const AString& path, io::CToken_istream& stream) {
    std::uint32_t offset = 0;
    if (!FindPreviewBlockOffset(path, offset)) return false;
    stream.SetPos(io::CAbstract_stream_pos(offset));
    return stream.FindBlock(AString(L"ProjectPreview"));
}

}  // namespace ProjectPreviewHelper
