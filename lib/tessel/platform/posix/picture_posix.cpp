// Pictures outside Windows, where a native bitmap is a `CPixels` on the heap.

#include "tessel/platform/posix/picture_decoders.h"

#include <memory>
#include <new>

namespace platform {
namespace {

using namespace std::string_view_literals;

/// How the files of a format begin, and its decoder's name. The decoder is never left to be guessed:
/// the system may have decoders installed for vector drawings and worse, and bytes out of a project
/// file shall not choose one of those.
struct CFormat {
    std::string_view mBegin;
    const char*      mDecoder;
};
constexpr CFormat kOtherFormats[] = {
    // clang-format off
    {"GIF87a"sv,   "gif" },
    {"GIF89a"sv,   "gif" },
    {"BM"sv,       "bmp" },
    {"II*\0"sv,    "tiff"},
    {"MM\0*"sv,    "tiff"},
    {"\0\0\1\0"sv, "ico" },
    // clang-format on
};

bool Decode(std::string_view bytes, CPixels* pixels) {
    if (bytes.starts_with("\x89PNG\r\n\x1A\n"sv)) return DecodePng(bytes, pixels);
    if (bytes.starts_with("\xFF\xD8\xFF"sv)) return DecodeJpeg(bytes, pixels);
    for (const auto& [begin, decoder] : kOtherFormats)
        if (bytes.starts_with(begin)) return DecodeByPixbuf(bytes, decoder, pixels);
    return false;
}

}  // namespace

bool DecodeImage(const std::uint8_t* bytes, std::size_t size, CPixels* pixels) {
    return IsReasonableImage(bytes, size) && Decode({reinterpret_cast<const char*>(bytes), size}, pixels);
}

NativeBitmap CreateBitmapFromImage(const std::uint8_t* bytes, std::size_t size,
                                   std::uint32_t* streamReferences) noexcept {
    if (streamReferences != nullptr) *streamReferences = 0;
    try {
        auto pixels = std::make_unique<CPixels>();
        return DecodeImage(bytes, size, pixels.get()) ? pixels.release() : nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void DestroyBitmap(NativeBitmap bitmap) noexcept {
    delete static_cast<CPixels*>(bitmap);
}

bool GetBitmapPixels(NativeBitmap bitmap, CPixels* pixels) {
    if (bitmap == nullptr) return false;
    *pixels = *static_cast<const CPixels*>(bitmap);
    return true;
}

namespace {

/// Two channels at once, each in 16 bits: `(channel * opacity + 127) / 255`, without a division.
std::uint32_t Dim(std::uint32_t channels, std::uint32_t opacity) noexcept {
    const std::uint32_t product = channels * opacity + 0x007F'007F;
    return (product + 0x0001'0001 + (product >> 8 & 0x00FF'00FF)) >> 8 & 0x00FF'00FF;
}

}  // namespace

void LayOverBlack(std::vector<std::uint8_t>& pixels) {
    // In place: the three bytes that a pixel becomes lie before the four that it was.
    const std::size_t count = pixels.size() / 4;
    const auto*       from  = pixels.data();
    auto*             to    = pixels.data();
    for (std::size_t i = 0; i < count; ++i, from += 4) {
        const std::uint32_t redAndBlue = Dim(from[0] | static_cast<std::uint32_t>(from[2]) << 16, from[3]);
        const std::uint32_t green      = Dim(from[1], from[3]);
        *to++                          = static_cast<std::uint8_t>(redAndBlue);
        *to++                          = static_cast<std::uint8_t>(green);
        *to++                          = static_cast<std::uint8_t>(redAndBlue >> 16);
    }
    pixels.resize(3 * count);
}

}  // namespace platform
