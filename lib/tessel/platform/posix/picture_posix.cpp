#include "tessel/platform/picture.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

using namespace std::string_view_literals;

struct CUnref {
    void operator()(void* object) const noexcept { g_object_unref(object); }
};
using CPixbufPtr = std::unique_ptr<GdkPixbuf, CUnref>;
using CLoaderPtr = std::unique_ptr<GdkPixbufLoader, CUnref>;

/// How the files of a format begin, and its decoder's name. The decoder is never left to be guessed:
/// the system may have decoders installed for vector drawings and worse, and bytes out of a project
/// file shall not choose one of those.
struct CFormat {
    std::string_view mBegin;
    const char*      mDecoder;
};
constexpr CFormat kFormats[] = {
    // clang-format off
    {"\x89PNG\r\n\x1A\n"sv, "png" },
    {"\xFF\xD8\xFF"sv,      "jpeg"},
    {"GIF87a"sv,            "gif" },
    {"GIF89a"sv,            "gif" },
    {"BM"sv,                "bmp" },
    {"II*\0"sv,             "tiff"},
    {"MM\0*"sv,             "tiff"},
    {"\0\0\1\0"sv,          "ico" },
    // clang-format on
};

const char* DecoderFor(std::string_view bytes) {
    for (const CFormat& format : kFormats)
        if (bytes.starts_with(format.mBegin)) return format.mDecoder;
    return nullptr;
}

/// Called when the header has been read and before any pixels are allocated; a size of 0 makes the
/// decoder stop there.
void RefuseHugePicture(GdkPixbufLoader* loader, int width, int height, void*) {
    if (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) > kMaxPicturePixels)
        gdk_pixbuf_loader_set_size(loader, 0, 0);
}

bool Feed(GdkPixbufLoader* loader, const std::uint8_t* bytes, std::size_t size) {
    const bool written = gdk_pixbuf_loader_write(loader, bytes, size, nullptr);
    return gdk_pixbuf_loader_close(loader, nullptr) && written;
}

CPixbufPtr OverBlack(GdkPixbuf* picture) {
    if (!gdk_pixbuf_get_has_alpha(picture)) return CPixbufPtr(static_cast<GdkPixbuf*>(g_object_ref(picture)));
    const int  width = gdk_pixbuf_get_width(picture), height = gdk_pixbuf_get_height(picture);
    CPixbufPtr result(gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, width, height));
    if (!result) return nullptr;
    gdk_pixbuf_fill(result.get(), 0);
    gdk_pixbuf_composite(picture, result.get(), 0, 0, width, height, 0, 0, 1, 1, GDK_INTERP_NEAREST, 255);
    return result;
}

/// Pixels as a pixbuf that refers to them; `pixels` must outlive it.
CPixbufPtr View(const CPixels& pixels) {
    const int width = static_cast<int>(pixels.mWidth);
    return CPixbufPtr(gdk_pixbuf_new_from_data(pixels.mRgb.data(), GDK_COLORSPACE_RGB, FALSE, 8, width,
                                               static_cast<int>(pixels.mHeight), 3 * width, nullptr,
                                               nullptr));
}

/// Writes the file whole, or removes what came of it. Only a regular file is removed: the path may
/// name a pipe or a device.
bool WriteWhole(const char* path, const void* bytes, std::size_t size, unsigned* error) {
    std::FILE* file = std::fopen(path, "wb");
    bool       good = file != nullptr && std::fwrite(bytes, 1, size, file) == size;
    if (!good) *error = static_cast<unsigned>(errno);
    if (file == nullptr) return false;
    if (std::fclose(file) != 0 && good) {
        good   = false;
        *error = static_cast<unsigned>(errno);
    }
    struct stat status;
    if (!good && lstat(path, &status) == 0 && S_ISREG(status.st_mode)) unlink(path);
    return good;
}

}  // namespace

NativeBitmap CreateBitmapFromImage(const std::uint8_t* bytes, std::size_t size,
                                   std::uint32_t* streamReferences) noexcept {
    if (streamReferences != nullptr) *streamReferences = 0;
    const char* decoder = DecoderFor({reinterpret_cast<const char*>(bytes), size});
    if (decoder == nullptr || !IsReasonableImage(bytes, size)) return nullptr;
    CLoaderPtr loader(gdk_pixbuf_loader_new_with_type(decoder, nullptr));
    if (!loader) return nullptr;
    g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(RefuseHugePicture), nullptr);
    if (!Feed(loader.get(), bytes, size)) return nullptr;
    GdkPixbuf* picture = gdk_pixbuf_loader_get_pixbuf(loader.get());
    return picture == nullptr ? nullptr : OverBlack(picture).release();
}

void DestroyBitmap(NativeBitmap bitmap) noexcept {
    if (bitmap != nullptr) g_object_unref(bitmap);
}

bool GetBitmapPixels(NativeBitmap bitmap, CPixels* pixels) {
    if (bitmap == nullptr) return false;
    const auto*       picture = static_cast<const GdkPixbuf*>(bitmap);
    const auto*       source  = gdk_pixbuf_read_pixels(picture);
    const std::size_t stride  = static_cast<std::size_t>(gdk_pixbuf_get_rowstride(picture));
    pixels->mWidth            = static_cast<std::uint32_t>(gdk_pixbuf_get_width(picture));
    pixels->mHeight           = static_cast<std::uint32_t>(gdk_pixbuf_get_height(picture));
    const std::size_t row     = std::size_t{3} * pixels->mWidth;
    pixels->mRgb.resize(row * pixels->mHeight);
    for (std::size_t y = 0; y < pixels->mHeight; ++y)
        std::memcpy(&pixels->mRgb[y * row], source + y * stride, row);
    return true;
}

bool WriteBitmapAsPng(NativeBitmap bitmap, std::uint32_t maxSide, const char* path,
                      unsigned* error) noexcept {
    unsigned  unused = 0;
    unsigned& reason = error != nullptr ? *error : unused;
    reason           = 0;
    CPixels pixels;
    try {
        if (!GetBitmapPixels(bitmap, &pixels)) return false;
        pixels = ScaleToFit(pixels, maxSide);
    } catch (const std::bad_alloc&) {
        return false;
    }
    const CPixbufPtr view  = View(pixels);
    char*            bytes = nullptr;
    gsize            size  = 0;
    if (!view || !gdk_pixbuf_save_to_buffer(view.get(), &bytes, &size, "png", nullptr, nullptr)) return false;
    const bool written = WriteWhole(path, bytes, size, &reason);
    g_free(bytes);
    return written;
}

}  // namespace platform
