#include "tessel/platform/picture.h"
#include "tessel/platform/picture_crc.h"

#include <string_view>

namespace platform {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kMaxPlainPngBytes = 1u << 20;

/// No text, no profiles, no animation, and no transparent colour.
constexpr std::string_view kPlainChunks[] = {"IHDR", "sRGB", "gAMA", "pHYs", "PLTE", "IDAT", "IEND"};

std::uint32_t BigEndian(std::string_view bytes) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(0, 4))
        value = value << 8 | static_cast<std::uint8_t>(byte);
    return value;
}

/// One chunk: a length, then what the checksum is over (a name of four letters and `length` bytes of
/// content), then the checksum.
struct CChunk {
    std::string_view mChecked;

    std::string_view Name() const { return mChecked.substr(0, 4); }
    std::string_view Content() const { return mChecked.substr(4); }
};

/// Takes the chunk off the front of `rest`. False when it is cut or its checksum is wrong.
bool TakeChunk(std::string_view& rest, CChunk& chunk) {
    constexpr std::size_t kFrame = 12;
    if (rest.size() < kFrame) return false;
    const std::size_t length = BigEndian(rest);
    if (length > rest.size() - kFrame) return false;
    chunk.mChecked = rest.substr(4, 4 + length);
    if (Crc32(chunk.mChecked.data(), chunk.mChecked.size()) != BigEndian(rest.substr(8 + length)))
        return false;
    rest.remove_prefix(kFrame + length);
    return true;
}

bool IsPlainName(std::string_view name) {
    for (const std::string_view plain : kPlainChunks)
        if (name == plain) return true;
    return false;
}

/// Grey, colours or a palette, without opacities; rows in their order.
bool IsPlainHeader(std::string_view header) {
    constexpr std::size_t kSize = 13, kColourType = 9, kInterlaced = 12;
    return header.size() == kSize && "\0\2\3"sv.find(header[kColourType]) != std::string_view::npos &&
           header[kInterlaced] == 0;
}

}  // namespace

bool IsPlainPng(const std::uint8_t* data, std::size_t size) noexcept {
    constexpr std::string_view kBegin = "\x89PNG\r\n\x1A\n"sv;
    std::string_view           rest(reinterpret_cast<const char*>(data), size);
    if (size > kMaxPlainPngBytes || !rest.starts_with(kBegin)) return false;
    rest.remove_prefix(kBegin.size());

    CChunk chunk;
    if (!TakeChunk(rest, chunk) || chunk.Name() != "IHDR" || !IsPlainHeader(chunk.Content())) return false;
    while (TakeChunk(rest, chunk) && IsPlainName(chunk.Name()))
        if (chunk.Name() == "IEND") return chunk.Content().empty() && rest.empty();
    return false;
}

}  // namespace platform
