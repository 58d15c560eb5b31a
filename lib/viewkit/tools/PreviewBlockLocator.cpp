#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/token_istream.h"
#include "viewkit/tools/PreviewBlock.h"
#include "viewkit/tools/ProjectFile.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <string_view>
#include <vector>

namespace ProjectPreviewHelper {

namespace {

constexpr std::string_view kPreviewBeginMarker       = "$begin 'ProjectPreview'";
constexpr std::string_view kProjectEndMarker         = "$end 'TarvexProject'";
constexpr std::string_view kReferencedFilesEndMarker = "$end 'AllReferencedFilesForProject'";
constexpr char             kMarkerStart              = '$';

struct CMarker {
    std::string_view mText;
    std::size_t      mInitial = mText.find('\'') + 1;  ///< where the name begins

    /// Hardly another name begins with the same letter: that is looked at first.
    bool Begins(std::string_view text) const noexcept {
        return text.size() >= mText.size() && text[mInitial] == mText[mInitial] && text.starts_with(mText);
    }
};
constexpr CMarker kMarkers[] = {{kPreviewBeginMarker}, {kProjectEndMarker}, {kReferencedFilesEndMarker}};
static_assert(std::all_of(std::begin(kMarkers), std::end(kMarkers),
                          [](const CMarker& marker) { return marker.mText[0] == kMarkerStart; }));

constexpr std::size_t kChunkSize      = 1000;  // bytes searched per pass, stepping back from the end
constexpr std::size_t kPreviewOverlap = 100;   // bytes seen again, so that a marker across a border is found
constexpr std::size_t kSearchSize     = kChunkSize + kPreviewOverlap + 1;

static_assert(std::max({kPreviewBeginMarker.size(), kProjectEndMarker.size(),
                        kReferencedFilesEndMarker.size()}) <= kPreviewOverlap,
              "no marker is longer than what is seen again");

/// A file that is read backwards, chunk by chunk. The chunks come from pieces that grow: most often what
/// is wanted lies in the first few.
class CChunks {
  public:
    explicit CChunks(const CProjectFile& file) : mFile(file), mPieceStart(file.Size()) {}

    /// Reads `size` bytes, which end where those read before began. @return how many there were.
    std::size_t Read(std::int64_t start, char* out, std::size_t size) {
        if (mFile.Kept(start) != nullptr) return mFile.Read(start, out, size);
        // A piece that is cut off (the file has become shorter) is none: its chunks are read one by one.
        if (start < mPieceStart && !LoadPiece(start + static_cast<std::int64_t>(size)))
            return mFile.Read(start, out, size);
        std::copy_n(mPiece.begin() + static_cast<std::ptrdiff_t>(start - mPieceStart), size, out);
        return size;
    }

  private:
    static constexpr std::size_t kLargestPiece = 64 * kChunkSize;

    bool LoadPiece(std::int64_t end) {
        mPiece.resize(static_cast<std::size_t>(std::min(static_cast<std::int64_t>(mPieceSize), end)));
        mPieceSize  = std::min(2 * mPieceSize, kLargestPiece);
        mPieceStart = end - static_cast<std::int64_t>(mPiece.size());
        if (mFile.Read(mPieceStart, mPiece.data(), mPiece.size()) == mPiece.size()) return true;
        mPieceStart = end;
        return false;
    }

    const CProjectFile& mFile;
    std::vector<char>   mPiece;  ///< whole chunks, but for the file's first
    std::int64_t        mPieceStart;
    std::size_t         mPieceSize = 4 * kChunkSize;  ///< of the next; the file keeps about as many
};

/// Searches a file backwards, a chunk a pass.
class CBackwardScan {
  public:
    enum class EFound { kNothingYet, kPreview, kNoPreview };

    explicit CBackwardScan(const CProjectFile& file) : mChunks(file), mChunkStart(file.Size()) {}

    /// Reads the chunk before the last one and searches it.
    EFound Pass();
    /// What was found last, and where: in bytes from the start of the file.
    PreviewMarker Marker() const {
        return {mMarkerText, static_cast<std::uint32_t>(mChunkStart + static_cast<std::int64_t>(mMarker))};
    }

  private:
    void   ReadChunk();
    EFound Search();

    CChunks mChunks;
    // Searched whole in every pass: behind a short chunk and the carry stands what earlier passes
    // left there.
    std::array<char, kSearchSize>     mBuffer{};
    std::array<char, kPreviewOverlap> mCarry{};
    std::size_t                       mCarried = 0;  // bytes in the carry: none at first
    std::int64_t                      mChunkStart;
    std::string_view                  mMarkerText;
    std::size_t                       mMarker  = 0;
    bool                              mAtStart = false;
};

void CBackwardScan::ReadChunk() {
    const std::int64_t endPos = mChunkStart;
    mAtStart                  = endPos < static_cast<std::int64_t>(kChunkSize);
    mChunkStart               = mAtStart ? 0 : endPos - static_cast<std::int64_t>(kChunkSize);

    const auto numCharsWeWillBeReading = static_cast<std::size_t>(endPos - mChunkStart);
    const auto numCharsRead            = mChunks.Read(mChunkStart, mBuffer.data(), numCharsWeWillBeReading);
    TESSEL_ASSERT(numCharsRead == numCharsWeWillBeReading);
    std::copy_n(mCarry.begin(), mCarried, mBuffer.begin() + static_cast<std::ptrdiff_t>(numCharsRead));
}

/// The preview's first begin counts, else any of the end markers. All markers begin alike, so one search
/// for that finds them all.
CBackwardScan::EFound CBackwardScan::Search() {
    const std::string_view buffer(mBuffer.data(), mBuffer.size());
    EFound                 found = EFound::kNothingYet;
    for (std::size_t at = buffer.find(kMarkerStart); at != buffer.npos;
         at             = buffer.find(kMarkerStart, at + 1)) {
        for (const CMarker& marker : kMarkers) {
            if (!marker.Begins(buffer.substr(at))) continue;
            mMarkerText = marker.mText;
            mMarker     = at;
            if (marker.mText == kPreviewBeginMarker) return EFound::kPreview;
            found = EFound::kNoPreview;
        }
    }
    return found;
}

CBackwardScan::EFound CBackwardScan::Pass() {
    ReadChunk();
    const EFound found = Search();
    if (found == EFound::kPreview) {
        const std::size_t offsetIntoBuffer = mMarker;
        TESSEL_ASSERT(offsetIntoBuffer < kChunkSize);
    }
    if (found != EFound::kNothingYet) return found;
    if (mAtStart) return EFound::kNoPreview;
    mCarried = kPreviewOverlap;
    std::copy_n(mBuffer.begin(), kPreviewOverlap, mCarry.begin());
    return EFound::kNothingYet;
}

bool FindBlock(std::uint32_t offset, io::CToken_istream& stream) {
    stream.SetPos(io::CAbstract_stream_pos(offset));
    return stream.FindBlock(AString(L"ProjectPreview"));
}

}  // namespace

bool FindPreviewBlockOffset(const AString& path, std::uint32_t& offset) {
    const CProjectFile projFile(path);
    TESSEL_ASSERT_TEXT(projFile.IsOpen(), "projFile");
    return FindPreviewBlockOffset(projFile, offset);
}

bool FindPreviewBlockOffset(const CProjectFile& file, std::uint32_t& offset) {
    PreviewMarker marker;
    if (!FindPreviewMarker(file, marker)) return false;
    offset = marker.Offset;
    return true;
}

bool FindPreviewMarker(const CProjectFile& file, PreviewMarker& marker) {
    marker = {};
    // Positions have 32 bits.
    if (!file.IsOpen() || file.Size() > std::numeric_limits<std::int32_t>::max()) return false;
    CBackwardScan scan(file);
    auto          found = CBackwardScan::EFound::kNothingYet;
    while (found == CBackwardScan::EFound::kNothingYet)
        found = scan.Pass();
    marker = scan.Marker();
    return found == CBackwardScan::EFound::kPreview;
}

bool OpenPreviewBlock(const AString& path, io::CToken_istream& stream) {
    std::uint32_t offset = 0;
    return FindPreviewBlockOffset(path, offset) && FindBlock(offset, stream);
}

bool OpenPreviewBlock(const CProjectFile& file, io::CToken_istream& stream) {
    std::uint32_t offset = 0;
    return FindPreviewBlockOffset(file, offset) && FindBlock(offset, stream);
}

}  // namespace ProjectPreviewHelper
