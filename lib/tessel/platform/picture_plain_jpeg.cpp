#include "tessel/platform/picture.h"

#include <string_view>

namespace platform {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kMaxPlainJpegBytes = 1u << 20;

/// The segments that make up a picture of the two usual kinds (in one go, or ever finer), with the tables
/// for them. No text, no camera's notes (one of them turns the picture round), no colour profile.
constexpr std::string_view kPlainSegments = "\xC0\xC2\xC4\xDB\xDD\xE0"sv;
constexpr char             kScan          = '\xDA';

}  // namespace

bool IsPlainJpeg(const std::uint8_t* data, std::size_t size) noexcept {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    if (size > kMaxPlainJpegBytes || !rest.starts_with("\xFF\xD8"sv) || !rest.ends_with("\xFF\xD9"sv))
        return false;
    rest.remove_prefix(2);
    // A segment: its marker, and a length that counts itself, higher byte first.
    while (rest.size() >= 4 && rest[0] == '\xFF') {
        if (rest[1] == kScan) return true;
        const std::size_t length =
            2 + (std::size_t{static_cast<std::uint8_t>(rest[2])} << 8) + static_cast<std::uint8_t>(rest[3]);
        if (length > rest.size() || kPlainSegments.find(rest[1]) == std::string_view::npos) return false;
        rest.remove_prefix(length);
    }
    return false;
}

}  // namespace platform
