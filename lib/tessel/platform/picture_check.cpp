#include "tessel/platform/picture.h"

#include <string_view>

namespace platform {
namespace {

using namespace std::string_view_literals;

/// Ordinary progressive pictures have up to about twenty scans. Each may be a few bytes long and costs
/// a pass over all pixels, so that a small file could keep a decoder busy for hours.
constexpr int kMaxJpegScans = 64;

/// Where the formats with a fixed header have the picture's sides.
struct CHeader {
    std::string_view mBegin;
    std::size_t      mWidthAt, mHeightAt;  ///< bytes from the start
    std::size_t      mBytes;               ///< size of each number
    bool             mBigEndian;
};
constexpr CHeader kHeaders[] = {
    // clang-format off
    // begin                 width height bytes  big-endian
    {"\x89PNG\r\n\x1A\n"sv,  16,   20,    4,     true },
    {"GIF8"sv,                6,    8,    2,     false},
    // clang-format on
};
constexpr std::string_view kJpegBegin = "\xFF\xD8"sv;

std::uint64_t NumberAt(std::string_view bytes, std::size_t at, std::size_t size, bool bigEndian) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value = value << 8 | static_cast<std::uint8_t>(bytes[at + (bigEndian ? i : size - 1 - i)]);
    return value;
}

bool FitsLimit(std::uint64_t width, std::uint64_t height) {
    return width <= kMaxPicturePixels && height <= kMaxPicturePixels && width * height <= kMaxPicturePixels;
}

bool IsFrameHeader(unsigned marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

/// Walks the segments: 0xFF, the marker, a big-endian length that counts itself, the content. In
/// between lies coded data, where 0xFF is followed by 0 or by a restart marker.
bool IsReasonableJpeg(std::string_view bytes) {
    constexpr unsigned kFirstPlainMarker = 0xD0, kLastPlainMarker = 0xD8;  // restarts and the file's begin
    constexpr unsigned kEnd = 0xD9, kScan = 0xDA;
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
        if (IsFrameHeader(marker) && at + 9 <= bytes.size() &&
            !FitsLimit(NumberAt(bytes, at + 7, 2, true), NumberAt(bytes, at + 5, 2, true)))
            return false;
        at += 2 + static_cast<std::size_t>(NumberAt(bytes, at + 2, 2, true));
    }
    return true;
}

}  // namespace

bool IsReasonableImage(const std::uint8_t* data, std::size_t size) noexcept {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (bytes.starts_with(kJpegBegin)) return IsReasonableJpeg(bytes);
    for (const CHeader& header : kHeaders)
        if (bytes.starts_with(header.mBegin))
            return size >= header.mHeightAt + header.mBytes &&
                   FitsLimit(NumberAt(bytes, header.mWidthAt, header.mBytes, header.mBigEndian),
                             NumberAt(bytes, header.mHeightAt, header.mBytes, header.mBigEndian));
    return true;
}

}  // namespace platform
