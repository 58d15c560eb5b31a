// Small picture files, by GDI+.

#include "tessel/platform/picture.h"
#include "tessel/platform/win32/gdi_plus.h"

namespace platform {
namespace {

namespace gdip = Gdiplus::DllExports;

using CBytes = std::vector<std::uint8_t>;

// The encoders' class identifiers, the same on every Windows.
constexpr CLSID kPngEncoder  = {0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
constexpr CLSID kJpegEncoder = {0x557CF401, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
constexpr GUID  kQuality     = {0x1D5BE4B5, 0xFA4A, 0x452D, {0x9C, 0xDD, 0x5D, 0xB3, 0x51, 0x05, 0xE7, 0xEB}};

/// Rows as GDI+ takes them: blue, green, red, and filled up to a multiple of four bytes.
CBytes ToRows(const CPixels& picture, std::size_t stride) {
    CBytes rows(stride * picture.mHeight);
    for (std::size_t y = 0; y < picture.mHeight; ++y) {
        const std::uint8_t* from = &picture.mRgb[3 * y * picture.mWidth];
        std::uint8_t*       to   = &rows[y * stride];
        for (std::size_t x = 0; x < picture.mWidth; ++x, from += 3, to += 3) {
            to[0] = from[2];
            to[1] = from[1];
            to[2] = from[0];
        }
    }
    return rows;
}

CBytes Content(IStream* stream) {
    STATSTG status = {};
    HGLOBAL block  = nullptr;
    if (FAILED(stream->Stat(&status, STATFLAG_NONAME)) || FAILED(GetHGlobalFromStream(stream, &block)))
        return {};
    const auto* bytes = static_cast<const std::uint8_t*>(GlobalLock(block));
    if (bytes == nullptr) return {};
    CBytes content(bytes, bytes + status.cbSize.QuadPart);
    GlobalUnlock(block);
    return content;
}

CBytes Save(Gdiplus::GpBitmap* bitmap, const CLSID& encoder, const Gdiplus::EncoderParameters* parameters) {
    IStream* stream = nullptr;
    if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, &stream))) return {};
    CBytes bytes;
    if (gdip::GdipSaveImageToStream(bitmap, stream, &encoder, parameters) == Gdiplus::Ok)
        bytes = Content(stream);
    stream->Release();
    return bytes;
}

}  // namespace

CBytes EncodeSmall(const CPixels& picture) {
    const std::size_t  stride = (3 * std::size_t{picture.mWidth} + 3) / 4 * 4;
    CBytes             rows   = ToRows(picture, stride);
    const CGdiPlus     gdiPlus;
    Gdiplus::GpBitmap* bitmap = nullptr;
    if (!gdiPlus.Started() ||
        gdip::GdipCreateBitmapFromScan0(static_cast<INT>(picture.mWidth), static_cast<INT>(picture.mHeight),
                                        static_cast<INT>(stride), PixelFormat24bppRGB, rows.data(),
                                        &bitmap) != Gdiplus::Ok)
        return {};
    LONG                       quality    = kJpegQuality;
    Gdiplus::EncoderParameters parameters = {
        1, {{kQuality, 1, Gdiplus::EncoderParameterValueTypeLong, &quality}}};
    CBytes png = Save(bitmap, kPngEncoder, nullptr), jpeg = Save(bitmap, kJpegEncoder, &parameters);
    gdip::GdipDisposeImage(bitmap);
    return jpeg.empty() || (!png.empty() && png.size() <= jpeg.size()) ? png : jpeg;
}

}  // namespace platform
