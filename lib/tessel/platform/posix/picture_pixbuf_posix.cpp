// The formats that are rare in projects. gdk-pixbuf and what it needs are thirty libraries, so it is
// not linked but looked up when it is wanted.

#include "tessel/platform/posix/picture_decoders.h"

#include <cstring>
#include <memory>

#include <dlfcn.h>
#include <gdk-pixbuf/gdk-pixbuf.h>

namespace platform {
namespace {

/// What is used of gdk-pixbuf and of GObject, by the types of its headers.
struct CLibrary {
    decltype(&gdk_pixbuf_loader_new_with_type) mNewLoader;
    decltype(&gdk_pixbuf_loader_set_size)      mSetSize;
    decltype(&gdk_pixbuf_loader_write)         mWrite;
    decltype(&gdk_pixbuf_loader_close)         mClose;
    decltype(&gdk_pixbuf_loader_get_pixbuf)    mGetPixbuf;
    decltype(&gdk_pixbuf_get_width)            mGetWidth;
    decltype(&gdk_pixbuf_get_height)           mGetHeight;
    decltype(&gdk_pixbuf_get_rowstride)        mGetRowstride;
    decltype(&gdk_pixbuf_get_n_channels)       mGetChannels;
    decltype(&gdk_pixbuf_read_pixels)          mReadPixels;
    decltype(&g_signal_connect_data)           mConnect;
    decltype(&g_object_unref)                  mUnref;
};

template <class Function>
bool Find(void* library, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(library, name));
    return function != nullptr;
}

bool FindAll(void* library, CLibrary& to) {
    return library != nullptr &&  // the two of GObject are found through gdk-pixbuf, which needs it
           Find(library, "gdk_pixbuf_loader_new_with_type", to.mNewLoader) &&
           Find(library, "gdk_pixbuf_loader_set_size", to.mSetSize) &&
           Find(library, "gdk_pixbuf_loader_write", to.mWrite) &&
           Find(library, "gdk_pixbuf_loader_close", to.mClose) &&
           Find(library, "gdk_pixbuf_loader_get_pixbuf", to.mGetPixbuf) &&
           Find(library, "gdk_pixbuf_get_width", to.mGetWidth) &&
           Find(library, "gdk_pixbuf_get_height", to.mGetHeight) &&
           Find(library, "gdk_pixbuf_get_rowstride", to.mGetRowstride) &&
           Find(library, "gdk_pixbuf_get_n_channels", to.mGetChannels) &&
           Find(library, "gdk_pixbuf_read_pixels", to.mReadPixels) &&
           Find(library, "g_signal_connect_data", to.mConnect) && Find(library, "g_object_unref", to.mUnref);
}

/// Null when the system lacks it. Never unloaded: its types stay registered.
const CLibrary* Library() {
    static CLibrary   library;
    static const bool found = FindAll(dlopen("libgdk_pixbuf-2.0.so.0", RTLD_LAZY | RTLD_LOCAL), library);
    return found ? &library : nullptr;
}

struct CUnref {
    const CLibrary* mLibrary;
    void            operator()(void* object) const noexcept { mLibrary->mUnref(object); }
};

/// Called when the header has been read and before any pixels are allocated; a size of 0 makes the
/// decoder stop there.
void RefuseHugePicture(GdkPixbufLoader* loader, int width, int height, void* library) {
    if (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) > kMaxPicturePixels)
        static_cast<const CLibrary*>(library)->mSetSize(loader, 0, 0);
}

void CopyPixels(const CLibrary& library, const GdkPixbuf* picture, CPixels* pixels) {
    const auto* source    = library.mReadPixels(picture);
    const auto  stride    = static_cast<std::size_t>(library.mGetRowstride(picture));
    const auto  pixelSize = static_cast<std::size_t>(library.mGetChannels(picture));
    pixels->mWidth        = static_cast<std::uint32_t>(library.mGetWidth(picture));
    pixels->mHeight       = static_cast<std::uint32_t>(library.mGetHeight(picture));
    const std::size_t row = pixelSize * pixels->mWidth;
    pixels->mRgb.resize(row * pixels->mHeight);
    for (std::size_t y = 0; y < pixels->mHeight; ++y)
        std::memcpy(&pixels->mRgb[y * row], source + y * stride, row);
    if (pixelSize == 4) LayOverBlack(pixels->mRgb);
}

}  // namespace

bool DecodeByPixbuf(std::string_view bytes, const char* decoder, CPixels* pixels) {
    const CLibrary* library = Library();
    if (library == nullptr) return false;
    const std::unique_ptr<GdkPixbufLoader, CUnref> loader(library->mNewLoader(decoder, nullptr), {library});
    if (!loader) return false;
    library->mConnect(loader.get(), "size-prepared", G_CALLBACK(RefuseHugePicture),
                      const_cast<CLibrary*>(library), nullptr, GConnectFlags{});
    const auto* data    = reinterpret_cast<const guchar*>(bytes.data());
    const bool  written = library->mWrite(loader.get(), data, bytes.size(), nullptr);
    if (!library->mClose(loader.get(), nullptr) || !written) return false;
    const GdkPixbuf* picture = library->mGetPixbuf(loader.get());
    if (picture == nullptr) return false;
    CopyPixels(*library, picture, pixels);
    return true;
}

}  // namespace platform
