#include "tessel/platform/picture.h"
#include "tessel/platform/win32/gdi_plus.h"

#include <cstring>
#include <memory>
#include <new>

namespace platform {
namespace {

namespace gdip = Gdiplus::DllExports;

constexpr Gdiplus::ARGB kOpaqueBlack = 0xFF000000;

/// A memory stream that answers "nothing more" behind its end. A decoder gets there by skipping what a
/// damaged header tells it to skip, and not every system's memory stream stays inside its memory then
/// (that of Wine 8 does not). Only what a decoder uses is there.
class CBoundedStream final : public IStream {
  public:
    /// Takes over the caller's reference to `stream`, which holds `size` bytes.
    CBoundedStream(IStream* stream, std::uint64_t size) noexcept : mStream(stream), mSize(size) {}

    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (id != IID_IUnknown && id != IID_ISequentialStream && id != IID_IStream) return E_NOINTERFACE;
        AddRef();
        *object = static_cast<IStream*>(this);
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&mReferences)); }
    /// The last release answers what that of the memory stream answers.
    STDMETHODIMP_(ULONG) Release() override {
        auto left = static_cast<ULONG>(InterlockedDecrement(&mReferences));
        if (left == 0) {
            left = mStream->Release();
            delete this;
        }
        return left;
    }

    STDMETHODIMP Read(void* out, ULONG bytes, ULONG* read) override {
        ULARGE_INTEGER at = {};
        const HRESULT  hr = mStream->Seek({}, STREAM_SEEK_CUR, &at);
        if (SUCCEEDED(hr) && at.QuadPart < mSize) return mStream->Read(out, bytes, read);
        if (read != nullptr) *read = 0;
        return hr;
    }
    STDMETHODIMP Seek(LARGE_INTEGER offset, DWORD origin, ULARGE_INTEGER* position) override {
        return mStream->Seek(offset, origin, position);
    }
    STDMETHODIMP Stat(STATSTG* status, DWORD flags) override { return mStream->Stat(status, flags); }

    STDMETHODIMP Write(const void*, ULONG, ULONG*) override { return STG_E_ACCESSDENIED; }
    STDMETHODIMP SetSize(ULARGE_INTEGER) override { return STG_E_ACCESSDENIED; }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Commit(DWORD) override { return S_OK; }
    STDMETHODIMP Revert() override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return STG_E_INVALIDFUNCTION;
    }
    STDMETHODIMP Clone(IStream**) override { return E_NOTIMPL; }

  private:
    ~CBoundedStream() = default;

    IStream* const      mStream;
    const std::uint64_t mSize;
    LONG                mReferences = 1;  // changed atomically: GDI+ has a thread of its own
};

/// A stream over a copy of the bytes, which it frees with its last release.
IStream* CreateMemoryStream(const std::uint8_t* bytes, std::size_t size) noexcept {
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, size);
    if (block == nullptr) return nullptr;
    if (void* memory = GlobalLock(block)) {
        std::memcpy(memory, bytes, size);
        GlobalUnlock(block);
    }
    IStream* stream = nullptr;
    if (FAILED(CreateStreamOnHGlobal(block, TRUE, &stream))) {
        GlobalFree(block);
        return nullptr;
    }
    IStream* bounded = new (std::nothrow) CBoundedStream(stream, size);
    if (bounded == nullptr) stream->Release();
    return bounded;
}

/// GDI+ knows a picture's size before it decodes the pixels.
bool HasReasonableSize(Gdiplus::GpBitmap* picture) noexcept {
    UINT width = 0, height = 0;
    return gdip::GdipGetImageWidth(picture, &width) == Gdiplus::Ok &&
           gdip::GdipGetImageHeight(picture, &height) == Gdiplus::Ok &&
           std::uint64_t{width} * height <= kMaxPicturePixels;
}

HBITMAP DecodeStream(IStream* stream) noexcept {
    Gdiplus::GpBitmap* picture = nullptr;
    HBITMAP            bitmap  = nullptr;
    if (gdip::GdipCreateBitmapFromStream(stream, &picture) != Gdiplus::Ok) return nullptr;
    if (HasReasonableSize(picture)) gdip::GdipCreateHBITMAPFromBitmap(picture, &bitmap, kOpaqueBlack);
    gdip::GdipDisposeImage(picture);
    return bitmap;
}

struct CDestroyBitmap {
    void operator()(NativeBitmap bitmap) const noexcept { DestroyBitmap(bitmap); }
};

}  // namespace

NativeBitmap CreateBitmapFromImage(const std::uint8_t* bytes, std::size_t size,
                                   std::uint32_t* streamReferences) noexcept {
    if (streamReferences != nullptr) *streamReferences = 0;
    if (size == 0 || !IsReasonableImage(bytes, size)) return nullptr;
    HBITMAP  bitmap = nullptr;
    IStream* stream = nullptr;
    {
        const CGdiPlus gdiPlus;
        if (!gdiPlus.Started()) return nullptr;
        stream = CreateMemoryStream(bytes, size);
        if (stream == nullptr) return nullptr;
        bitmap = DecodeStream(stream);
    }
    const ULONG references = stream->Release();
    if (streamReferences != nullptr) *streamReferences = references;
    return bitmap;
}

void DestroyBitmap(NativeBitmap bitmap) noexcept {
    if (bitmap != nullptr) DeleteObject(bitmap);
}

bool GetBitmapPixels(NativeBitmap bitmap, CPixels* pixels) {
    BITMAP shape = {};
    if (bitmap == nullptr || GetObjectW(bitmap, sizeof shape, &shape) != sizeof shape) return false;
    const auto width  = static_cast<std::size_t>(shape.bmWidth),
               height = static_cast<std::size_t>(shape.bmHeight);

    BITMAPINFO info              = {};
    info.bmiHeader.biSize        = sizeof info.bmiHeader;
    info.bmiHeader.biWidth       = shape.bmWidth;
    info.bmiHeader.biHeight      = -shape.bmHeight;  // top row first
    info.bmiHeader.biPlanes      = 1;
    info.bmiHeader.biBitCount    = 32;
    info.bmiHeader.biCompression = BI_RGB;
    std::vector<std::uint8_t> bgrx(4 * width * height);
    HDC                       screen = GetDC(nullptr);
    const int rows = GetDIBits(screen, static_cast<HBITMAP>(bitmap), 0, static_cast<UINT>(height),
                               bgrx.data(), &info, DIB_RGB_COLORS);
    ReleaseDC(nullptr, screen);
    if (rows != shape.bmHeight) return false;

    pixels->mWidth  = static_cast<std::uint32_t>(width);
    pixels->mHeight = static_cast<std::uint32_t>(height);
    pixels->mRgb.resize(3 * width * height);
    for (std::size_t i = 0; i < width * height; ++i) {
        pixels->mRgb[3 * i]     = bgrx[4 * i + 2];
        pixels->mRgb[3 * i + 1] = bgrx[4 * i + 1];
        pixels->mRgb[3 * i + 2] = bgrx[4 * i];
    }
    return true;
}

bool DecodeImage(const std::uint8_t* bytes, std::size_t size, CPixels* pixels) {
    const std::unique_ptr<void, CDestroyBitmap> bitmap(CreateBitmapFromImage(bytes, size));
    return GetBitmapPixels(bitmap.get(), pixels);
}

}  // namespace platform
