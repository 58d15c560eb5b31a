// Small picture files, by libpng and libjpeg-turbo.

#include "tessel/platform/picture.h"

#include <memory>

#include <png.h>
#include <turbojpeg.h>

namespace platform {
namespace {

using CBytes = std::vector<std::uint8_t>;

CBytes CompressAsPng(const CPixels& picture) {
    png_image image       = {};
    image.version         = PNG_IMAGE_VERSION;
    image.width           = picture.mWidth;
    image.height          = picture.mHeight;
    image.format          = PNG_FORMAT_RGB;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    CBytes           bytes(size);
    if (png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.mRgb.data(), 0, nullptr) == 0)
        size = 0;
    png_image_free(&image);
    bytes.resize(size);
    return bytes;
}

struct CDestroy {
    void operator()(void* encoder) const noexcept { tjDestroy(encoder); }
};

CBytes CompressAsJpeg(const CPixels& picture) {
    const auto width = static_cast<int>(picture.mWidth), height = static_cast<int>(picture.mHeight);
    CBytes     bytes(tjBufSize(width, height, TJSAMP_444));
    auto*      out  = bytes.data();
    auto       size = static_cast<unsigned long>(bytes.size());
    const std::unique_ptr<void, CDestroy> encoder(tjInitCompress());
    if (encoder == nullptr || tjCompress2(encoder.get(), picture.mRgb.data(), width, 0, height, TJPF_RGB,
                                          &out, &size, TJSAMP_444, kJpegQuality, TJFLAG_NOREALLOC) != 0)
        size = 0;
    bytes.resize(size);
    return bytes;
}

}  // namespace

CBytes EncodeSmall(const CPixels& picture) {
    CBytes png = CompressAsPng(picture), jpeg = CompressAsJpeg(picture);
    return jpeg.empty() || (!png.empty() && png.size() <= jpeg.size()) ? png : jpeg;
}

}  // namespace platform
