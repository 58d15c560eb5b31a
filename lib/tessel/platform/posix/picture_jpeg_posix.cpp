#include "tessel/platform/posix/picture_decoders.h"

#include <memory>

#include <turbojpeg.h>

namespace platform {
namespace {

struct CDestroy {
    void operator()(void* decoder) const noexcept { tjDestroy(decoder); }
};

bool FitsLimit(int width, int height) {
    return width > 0 && height > 0 &&
           static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) <= kMaxPicturePixels;
}

/// A decoder answers -1 for a warning too; then it has gone on.
bool HasWorked(tjhandle decoder, int result) {
    return result == 0 || tjGetErrorCode(decoder) == TJERR_WARNING;
}

}  // namespace

bool DecodeJpeg(std::string_view bytes, CPixels* pixels) {
    const std::unique_ptr<void, CDestroy> owner(tjInitDecompress());
    const tjhandle                        decoder = owner.get();
    const auto*                           data    = reinterpret_cast<const unsigned char*>(bytes.data());
    const auto                            size    = static_cast<unsigned long>(bytes.size());
    int                                   width = 0, height = 0, subsampling = 0, colours = 0;
    if (decoder == nullptr ||
        !HasWorked(decoder,
                   tjDecompressHeader3(decoder, data, size, &width, &height, &subsampling, &colours)) ||
        !FitsLimit(width, height))
        return false;
    // The printer's colours, of which there are two kinds, are gdk-pixbuf's to convert.
    if (colours == TJCS_CMYK || colours == TJCS_YCCK) return DecodeByPixbuf(bytes, "jpeg", pixels);

    pixels->mWidth  = static_cast<std::uint32_t>(width);
    pixels->mHeight = static_cast<std::uint32_t>(height);
    pixels->mRgb.resize(std::size_t{3} * pixels->mWidth * pixels->mHeight);
    return HasWorked(decoder, tjDecompress2(decoder, data, size, pixels->mRgb.data(), width, 0, height,
                                            TJPF_RGB, TJFLAG_LIMITSCANS));
}

}  // namespace platform
