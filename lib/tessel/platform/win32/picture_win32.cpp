#include "tessel/platform/picture.h"

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <windows.h>

#include <objidl.h>  // has PROPID, which gdiplus.h uses without asking for it

#include <gdiplus.h>

namespace platform {
namespace {

namespace gdip = Gdiplus::DllExports;

constexpr Gdiplus::ARGB kOpaqueBlack = 0xFF000000;

/// GDI+ for the time of one conversion: nothing of it stays alive in the process that hosts us.
class CGdiPlus {
  public:
    CGdiPlus() noexcept {
        Gdiplus::GdiplusStartupInput input;  // version 1, no debug callback, background thread kept
        mStarted = Gdiplus::GdiplusStartup(&mToken, &input, nullptr) == Gdiplus::Ok;
    }
    ~CGdiPlus() {
        if (mStarted) Gdiplus::GdiplusShutdown(mToken);
    }
    CGdiPlus(const CGdiPlus&)            = delete;
    CGdiPlus& operator=(const CGdiPlus&) = delete;

    bool Started() const noexcept { return mStarted; }

  private:
    ULONG_PTR mToken   = 0;
    bool      mStarted = false;
};

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

/// The encoder's well-known class id: image/png.
constexpr CLSID kPngEncoder = {0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};

/// Rows of blue, green, red, each padded to four bytes: the layout of a 24-bit GDI+ bitmap.
std::vector<std::uint8_t> ToBgrRows(const CPixels& pixels, std::size_t stride) {
    std::vector<std::uint8_t> rows(stride * pixels.mHeight);
    const auto*               rgb = pixels.mRgb.data();
    for (std::size_t y = 0; y < pixels.mHeight; ++y)
        for (std::size_t x = 0; x < pixels.mWidth; ++x, rgb += 3) {
            auto* bgr = &rows[y * stride + 3 * x];
            bgr[0]    = rgb[2];
            bgr[1]    = rgb[1];
            bgr[2]    = rgb[0];
        }
    return rows;
}

bool EncodePng(const CPixels& pixels, IStream* stream) {
    const std::size_t         stride  = (std::size_t{3} * pixels.mWidth + 3) / 4 * 4;
    std::vector<std::uint8_t> rows    = ToBgrRows(pixels, stride);
    Gdiplus::GpBitmap*        picture = nullptr;
    if (gdip::GdipCreateBitmapFromScan0(static_cast<INT>(pixels.mWidth), static_cast<INT>(pixels.mHeight),
                                        static_cast<INT>(stride), PixelFormat24bppRGB, rows.data(),
                                        &picture) != Gdiplus::Ok)
        return false;
    const bool saved = gdip::GdipSaveImageToStream(picture, stream, &kPngEncoder, nullptr) == Gdiplus::Ok;
    gdip::GdipDisposeImage(picture);
    return saved;
}

std::wstring WidePath(const char* path) {
    const int    units = MultiByteToWideChar(CP_UTF8, 0, path, -1, nullptr, 0);
    std::wstring result(units > 0 ? static_cast<std::size_t>(units) : 1, L'\0');
    MultiByteToWideChar(CP_UTF8, 0, path, -1, result.data(), units);
    return result;
}

/// Writes the file whole, or removes what came of it.
bool WriteWhole(const wchar_t* path, const void* bytes, DWORD size, unsigned* error) noexcept {
    HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        *error = GetLastError();
        return false;
    }
    DWORD      written = 0;
    const bool good    = WriteFile(file, bytes, size, &written, nullptr) && written == size;
    if (!good) *error = GetLastError();
    CloseHandle(file);
    if (!good) DeleteFileW(path);
    return good;
}

bool WriteStreamTo(IStream* stream, const wchar_t* path, unsigned* error) noexcept {
    STATSTG status = {};
    HGLOBAL block  = nullptr;
    if (FAILED(stream->Stat(&status, STATFLAG_NONAME)) || FAILED(GetHGlobalFromStream(stream, &block)))
        return false;
    const void* bytes   = GlobalLock(block);
    const bool  written = bytes != nullptr && WriteWhole(path, bytes, status.cbSize.LowPart, error);
    GlobalUnlock(block);
    return written;
}

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

bool WriteBitmapAsPng(NativeBitmap bitmap, std::uint32_t maxSide, const char* path,
                      unsigned* error) noexcept {
    unsigned  unused = 0;
    unsigned& reason = error != nullptr ? *error : unused;
    reason           = 0;
    IStream* stream  = nullptr;
    bool     written = false;
    try {
        CPixels pixels;
        if (!GetBitmapPixels(bitmap, &pixels)) return false;
        pixels = ScaleToFit(pixels, maxSide);
        const CGdiPlus gdiPlus;
        if (!gdiPlus.Started()) return false;
        written = SUCCEEDED(CreateStreamOnHGlobal(nullptr, TRUE, &stream)) && EncodePng(pixels, stream) &&
                  WriteStreamTo(stream, WidePath(path).c_str(), &reason);
    } catch (const std::bad_alloc&) {
        reason = 0;
    }
    if (stream != nullptr) stream->Release();
    return written;
}

}  // namespace platform
