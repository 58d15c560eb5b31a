#include "tessel/platform/picture.h"

#include <string_view>

namespace platform {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kPngBegin = "\x89PNG\r\n\x1A\n"sv;

/// Ordinary progressive pictures have up to about twenty scans. Each may be a few bytes long and costs
/// a pass over all pixels, so that a small file could keep a decoder busy for hours.
constexpr int kMaxJpegScans = 64;

/// More pages than a picture has; also what ends the walk through a file whose directories form a ring.
constexpr int kMaxTiffDirectories = 64;
/// Five colours or fewer, and some channels beside them. A decoder allocates for all of them.
constexpr std::uint64_t kMaxTiffSamples = 8;

/// The answer for a number that is not in the file: no number of up to four bytes, and above any limit.
constexpr std::uint64_t kOutside = ~std::uint64_t{0};

/// The numbers in a file.
struct CNumbers {
    std::string_view mBytes;
    bool             mBigEndian;

    /// @param size  bytes, up to 4
    std::uint64_t At(std::uint64_t at, std::size_t size) const {
        if (at > mBytes.size() || mBytes.size() - at < size) return kOutside;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const auto next = static_cast<std::size_t>(at) + (mBigEndian ? i : size - 1 - i);
            value           = value << 8 | static_cast<std::uint8_t>(mBytes[next]);
        }
        return value;
    }
};

/// What follows `at`; empty behind the end.
std::string_view From(std::string_view bytes, std::uint64_t at) {
    return at < bytes.size() ? bytes.substr(static_cast<std::size_t>(at)) : std::string_view();
}

bool FitsLimit(std::uint64_t width, std::uint64_t height) {
    return width <= kMaxPicturePixels && height <= kMaxPicturePixels && width * height <= kMaxPicturePixels;
}

bool IsReasonablePng(std::string_view bytes) {
    const CNumbers file{bytes, true};
    return FitsLimit(file.At(16, 4), file.At(20, 4));
}

/// Bytes of a GIF's colour table, by the flags in front of it.
std::uint64_t GifColours(std::uint64_t flags) {
    return flags & 0x80 ? std::uint64_t{3} << ((flags & 7) + 1) : 0;
}

/// Walks the blocks: each frame states a size of its own, whatever the screen's. Some decoders take all
/// of an animation apart, so the frames' pixels count together.
bool IsReasonableGif(std::string_view bytes) {
    constexpr std::uint64_t kExtension = 0x21, kFrame = 0x2C, kTrailer = 0x3B;
    const CNumbers          file{bytes, false};
    if (!FitsLimit(file.At(6, 2), file.At(8, 2))) return false;

    std::uint64_t pixels = 0;
    std::uint64_t at     = 13 + GifColours(file.At(10, 1));
    for (;;) {
        const std::uint64_t kind = file.At(at, 1);
        if (kind == kFrame) {
            const std::uint64_t width = file.At(at + 5, 2), height = file.At(at + 7, 2);
            if (!FitsLimit(width, height)) return false;
            pixels += width * height;
            if (pixels > kMaxPicturePixels) return false;
            at += 11 + GifColours(file.At(at + 9, 1));
        } else if (kind == kExtension) {
            at += 2;
        } else if (kind == kTrailer || kind == kOutside) {
            return true;
        } else {
            ++at;  // some decoders pass over what stands between blocks
            continue;
        }
        std::uint64_t length = file.At(at, 1);
        for (; length != 0 && length != kOutside; length = file.At(at, 1))
            at += 1 + length;
        if (length == kOutside) return true;
        ++at;
    }
}

bool IsFrameHeader(unsigned marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

/// Walks the segments: 0xFF, the marker, a big-endian length that counts itself, the content. In
/// between lies coded data, where 0xFF is followed by 0 or by a restart marker.
bool IsReasonableJpeg(std::string_view bytes) {
    constexpr unsigned kFirstPlainMarker = 0xD0, kLastPlainMarker = 0xD8;  // restarts and the file's begin
    constexpr unsigned kEnd = 0xD9, kScan = 0xDA;
    const CNumbers     file{bytes, true};
    int                scans = 0;
    for (std::size_t at = 0; at + 4 <= bytes.size();) {
        const auto marker = static_cast<std::uint8_t>(bytes[at + 1]);
        if (bytes[at] != '\xFF' || marker <= 1 || marker == 0xFF ||
            (marker >= kFirstPlainMarker && marker <= kLastPlainMarker)) {
            ++at;
            continue;
        }
        if (marker == kEnd) break;
        if (marker == kScan && ++scans > kMaxJpegScans) return false;
        if (IsFrameHeader(marker) && !FitsLimit(file.At(at + 7, 2), file.At(at + 5, 2))) return false;
        at += 2 + static_cast<std::size_t>(file.At(at + 2, 2));
    }
    return true;
}

/// Of a signed 32-bit number.
std::uint64_t Magnitude(std::uint64_t number) {
    return (number & 0x80000000u) != 0 ? 0x100000000u - number : number;
}

/// The header of a bitmap: its own size, then the sides. The height is negative when the top row comes
/// first, and an icon's height counts its mask too.
bool IsReasonableBitmapHeader(std::string_view bytes) {
    constexpr std::uint64_t kCoreHeader = 12, kSmallestInfoHeader = 16, kColours = 32;
    const CNumbers          file{bytes, false};
    const std::uint64_t     header = file.At(0, 4);
    if (header > bytes.size()) return false;
    if (header == kCoreHeader) return FitsLimit(file.At(4, 2), file.At(6, 2));
    // Some decoders allocate for as many colours as the header states, four bytes each.
    if (header >= kColours + 4 && file.At(kColours, 4) > bytes.size() / 4) return false;
    return header >= kSmallestInfoHeader && FitsLimit(Magnitude(file.At(4, 4)), Magnitude(file.At(8, 4)));
}

/// Some decoders allocate for all that is in front of the pixels, wherever the file says that they are.
bool IsReasonableBmp(std::string_view bytes) {
    constexpr std::uint64_t kFileHeader = 14, kPixelsInHeader = 10;
    return CNumbers{bytes, false}.At(kPixelsInHeader, 4) <= bytes.size() &&
           IsReasonableBitmapHeader(From(bytes, kFileHeader));
}

/// Every picture has to be reasonable: which one is taken is the decoder's choice.
bool IsReasonableIcon(std::string_view bytes) {
    constexpr std::uint64_t kFileHeader = 6, kEntry = 16, kOffsetInEntry = 12;
    const CNumbers          file{bytes, false};
    const std::uint64_t     end = kFileHeader + kEntry * file.At(4, 2);
    for (std::uint64_t entry = kFileHeader; entry < end; entry += kEntry) {
        const auto picture = From(bytes, file.At(entry + kOffsetInEntry, 4));
        if (picture.starts_with(kPngBegin) ? !IsReasonablePng(picture) : !IsReasonableBitmapHeader(picture))
            return false;
    }
    return true;
}

/// What a directory of a TIFF file says about sizes; 0 where it says nothing.
struct CTiffSizes {
    std::uint64_t mWidth = 0, mHeight = 0, mSamples = 0, mStripHeight = 0, mTileWidth = 0, mTileHeight = 0;
};
constexpr struct {
    unsigned      mTag;
    std::uint64_t CTiffSizes::*mSize;
} kTiffTags[] = {
    // clang-format off
    {256, &CTiffSizes::mWidth      },
    {257, &CTiffSizes::mHeight     },
    {277, &CTiffSizes::mSamples    },
    {278, &CTiffSizes::mStripHeight},
    {322, &CTiffSizes::mTileWidth  },
    {323, &CTiffSizes::mTileHeight },
    // clang-format on
};

/// An entry is tag, type, number of values, value. Decoders disagree on a size that is given twice, and
/// read more types than a size should have: either is refused.
bool ReadTiffEntry(const CNumbers& file, std::uint64_t at, CTiffSizes& sizes) {
    constexpr std::uint64_t kShort = 3, kLong = 4;
    const std::uint64_t     tag = file.At(at, 2), type = file.At(at + 2, 2);
    for (const auto& [knownTag, size] : kTiffTags) {
        if (tag != knownTag) continue;
        if ((type != kShort && type != kLong) || file.At(at + 4, 4) != 1 || sizes.*size != 0) return false;
        sizes.*size = file.At(at + 8, type == kShort ? 2 : 4);
    }
    return true;
}

std::uint64_t RoundUp(std::uint64_t number, std::uint64_t step) {
    return (number + step - 1) / step * step;
}

/// Tiles are decoded whole, also where they stick out of the picture.
bool IsReasonable(const CTiffSizes& sizes) {
    constexpr std::uint64_t kAllInOneStrip = 0xFFFFFFFF;
    if (sizes.mWidth == 0 || sizes.mHeight == 0 || sizes.mSamples > kMaxTiffSamples) return false;
    const auto strip      = sizes.mStripHeight == kAllInOneStrip ? 0 : sizes.mStripHeight;
    const auto tileWidth  = sizes.mTileWidth != 0 ? sizes.mTileWidth : sizes.mWidth;
    const auto tileHeight = sizes.mTileHeight != 0 ? sizes.mTileHeight : sizes.mHeight;
    return FitsLimit(sizes.mWidth, strip) &&
           FitsLimit(RoundUp(sizes.mWidth, tileWidth), RoundUp(sizes.mHeight, tileHeight));
}

/// The directories, one for each page, form a chain: a number of entries, the entries, the next one's place.
bool IsReasonableTiff(std::string_view bytes) {
    constexpr std::uint64_t kEntry = 12;
    const CNumbers          file{bytes, bytes.starts_with('M')};
    int                     directories = 0;
    for (std::uint64_t at = file.At(4, 4), next; at != 0; at = next) {
        const std::uint64_t entries = file.At(at, 2), begin = at + 2, end = begin + kEntry * entries;
        next = file.At(end, 4);
        if (entries == kOutside || next == kOutside || ++directories > kMaxTiffDirectories) return false;
        CTiffSizes sizes;
        for (std::uint64_t entry = begin; entry < end; entry += kEntry)
            if (!ReadTiffEntry(file, entry, sizes)) return false;
        if (!IsReasonable(sizes)) return false;
    }
    return directories != 0;
}

/// All formats that a decoder gets to see.
constexpr struct {
    std::string_view mBegin;
    bool (*mIsReasonable)(std::string_view bytes);
} kFormats[] = {
    // clang-format off
    {kPngBegin,    IsReasonablePng },
    {"\xFF\xD8"sv, IsReasonableJpeg},
    {"GIF8"sv,     IsReasonableGif },
    {"BM"sv,       IsReasonableBmp },
    {"II*\0"sv,    IsReasonableTiff},
    {"MM\0*"sv,    IsReasonableTiff},
    {"\0\0\1\0"sv, IsReasonableIcon},
    // clang-format on
};

}  // namespace

bool IsReasonableImage(const std::uint8_t* data, std::size_t size) noexcept {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (const auto& [begin, isReasonable] : kFormats)
        if (bytes.starts_with(begin)) return isReasonable(bytes);
    return false;
}

}  // namespace platform
