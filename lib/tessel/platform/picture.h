#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Pictures, as far as the system's own drawing library reads and writes them: GDI+ on Windows,
/// gdk-pixbuf elsewhere. A target of its own (`tessel_picture`), so that programs without pictures
/// do not load those libraries.
namespace platform {

/// A decoded picture: an `HBITMAP` (32-bit DIB section) on Windows, a `GdkPixbuf*` elsewhere.
/// Transparent pixels have been laid over opaque black. Owned by whoever got it last.
using NativeBitmap = void*;

/// A picture of more pixels is refused before memory is allocated for them: its header alone could ask
/// for gigabytes. 4096 x 4096 is two screens of the largest common kind in one picture and
/// costs 64 MiB at four bytes a pixel.
inline constexpr std::uint64_t kMaxPicturePixels = 4096u * 4096u;

/// Whether an image file may be handed to a decoder: true for PNG, JPEG, GIF, BMP, TIFF and icon (`.ico`)
/// files, unless the header is cut, or states more than `kMaxPicturePixels` pixels, or the structure would
/// keep a decoder busy far beyond what its size and its pixels explain. The list is closed: what else the
/// system's library may know (metafiles, for one) is refused. Decoders that work before they are asked
/// for the size make it necessary to look here first.
bool IsReasonableImage(const std::uint8_t* bytes, std::size_t size) noexcept;

/// Decodes an image file held in memory: PNG, JPEG, GIF (its first picture), BMP, TIFF, icon; no other.
/// An icon that holds a PNG file is decoded on Windows only.
/// @param streamReferences  receives what the last release of the memory stream answered, which is
///        0 unless the drawing library kept the stream; may be null.
/// @return null when the bytes are no image, or none of a reasonable size.
/// Where the drawing library has to be started, it is started and shut down within the call.
NativeBitmap CreateBitmapFromImage(const std::uint8_t* bytes, std::size_t size,
                                   std::uint32_t* streamReferences = nullptr) noexcept;

/// Gives a bitmap back; null is allowed.
void DestroyBitmap(NativeBitmap bitmap) noexcept;

/// The pixels of a bitmap, for programs that draw or compare them.
struct CPixels {
    std::uint32_t mWidth  = 0;  ///< pixels
    std::uint32_t mHeight = 0;  ///< pixels
    /// `mHeight` rows of `mWidth` pixels, top row first, no padding; 3 bytes each: red, green, blue.
    std::vector<std::uint8_t> mRgb;
};
/// Copies the pixels out. False when they cannot be had.
bool GetBitmapPixels(NativeBitmap bitmap, CPixels* pixels);

/// The picture scaled down to fit `maxSide` x `maxSide`, keeping its proportions, with each pixel the
/// mean of the area that it stands for: the same on every platform. A picture that fits already comes
/// back as it is, and so does any picture when `maxSide` is 0.
CPixels ScaleToFit(const CPixels& picture, std::uint32_t maxSide);

/// Writes a bitmap as an opaque PNG file.
/// @param path     UTF-8 (elsewhere than on Windows any bytes); replaced when it exists. The picture
///                 is encoded before the file is touched, and a file that could not be written whole
///                 is removed again.
/// @param maxSide  as for `ScaleToFit`
/// @return false on a failure; `error` (may be null) then receives the system error code of the file
///         operation, or 0 when the picture itself could not be had or encoded.
bool WriteBitmapAsPng(NativeBitmap bitmap, std::uint32_t maxSide, const char* path,
                      unsigned* error = nullptr) noexcept;

}  // namespace platform
