// PNG files. Of libpng only the simplified interface is used: it catches its own errors, so that no
// longjmp passes our frames, and keeps its warnings to itself.

#include "tessel/platform/posix/picture_decoders.h"

#include <png.h>

namespace platform {
namespace {

class CImage {
  public:
    CImage() noexcept { mImage.version = PNG_IMAGE_VERSION; }
    ~CImage() { png_image_free(&mImage); }
    CImage(const CImage&)            = delete;
    CImage& operator=(const CImage&) = delete;

    png_image* operator->() noexcept { return &mImage; }
    png_image* Get() noexcept { return &mImage; }

  private:
    png_image mImage = {};
};

}  // namespace

bool DecodePng(std::string_view bytes, CPixels* pixels) {
    CImage image;
    if (png_image_begin_read_from_memory(image.Get(), bytes.data(), bytes.size()) == 0) return false;
    const bool hasAlpha = (image->format & PNG_FORMAT_FLAG_ALPHA) != 0;
    // Given a background, libpng would blend in linear light, which no other drawing library here does.
    image->format = hasAlpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
    image->flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    pixels->mWidth  = image->width;
    pixels->mHeight = image->height;
    pixels->mRgb.resize(PNG_IMAGE_SIZE(*image.Get()));
    if (png_image_finish_read(image.Get(), nullptr, pixels->mRgb.data(), 0, nullptr) == 0) return false;
    if (hasAlpha) LayOverBlack(pixels->mRgb);
    return true;
}

}  // namespace platform
