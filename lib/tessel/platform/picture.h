#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Pictures, as far as the system's drawing libraries read them: GDI+ on Windows; libpng, libjpeg-turbo and,
/// for the rarer formats, gdk-pixbuf elsewhere. A target of its own (`tessel_picture`), so that
/// programs without pictures do not load those libraries.
namespace platform {

/// A decoded picture: an `HBITMAP` (32-bit DIB section) on Windows, a `CPixels*` elsewhere.
/// Transparent pixels have been laid over opaque black. Owned by whoever got it last.
using NativeBitmap = void*;

/// A picture of more pixels is refused before memory is allocated for them: its header alone could ask
/// for gigabytes. 4096 x 4096 is two screens of the largest common kind in one picture and
/// costs 64 MiB at four bytes a pixel.
inline constexpr std::uint64_t kMaxPicturePixels = std::uint64_t{4096} * 4096;

/// Whether an image file may be handed to a decoder: true for PNG, JPEG, GIF, BMP, TIFF and icon (`.ico`)
/// files, unless the header is cut, or states more than `kMaxPicturePixels` pixels, or the structure would
/// keep a decoder busy far beyond what its size and its pixels explain. The list is closed: what else the
/// system's library may know (metafiles, for one) is refused. Decoders that work before they are asked
/// for the size make it necessary to look here first.
bool IsReasonableImage(const std::uint8_t* bytes, std::size_t size) noexcept;

/// Decodes an image file held in memory: PNG, JPEG, GIF (its first picture), BMP, TIFF, icon; no other.
/// An icon that holds a PNG file is decoded on Windows only. Of a JPEG, GIF, BMP or TIFF file that is cut
/// short, what is there is decoded, elsewhere than on Windows.
/// @param streamReferences  receives what the last release of the memory stream answered, which is
///        0 unless the drawing library kept the stream; may be null.
/// @return null when the bytes are no image, or none of a reasonable size.
/// Where the drawing library has to be started, it is started and shut down within the call.
NativeBitmap CreateBitmapFromImage(const std::uint8_t* bytes, std::size_t size,
                                   std::uint32_t* streamReferences = nullptr) noexcept;

/// Gives a bitmap back; null is allowed.
void DestroyBitmap(NativeBitmap bitmap) noexcept;

/// The pixels of a picture, for programs that draw, compare or write them.
struct CPixels {
    std::uint32_t mWidth  = 0;  ///< pixels
    std::uint32_t mHeight = 0;  ///< pixels
    /// `mHeight` rows of `mWidth` pixels, top row first, no padding; 3 bytes each: red, green, blue.
    std::vector<std::uint8_t> mRgb;
};
/// Copies the pixels out. False when they cannot be had.
bool GetBitmapPixels(NativeBitmap bitmap, CPixels* pixels);
/// Decodes an image file as `CreateBitmapFromImage` does, straight to its pixels.
bool DecodeImage(const std::uint8_t* bytes, std::size_t size, CPixels* pixels);

/// The picture scaled down to fit `maxSide` x `maxSide`, keeping its proportions, with each pixel the
/// mean of the area that it stands for: the same on every platform. A picture that fits already comes
/// back as it is, and so does any picture when `maxSide` is 0.
CPixels ScaleToFit(const CPixels& picture, std::uint32_t maxSide);

/// The picture as an opaque, uncompressed PNG file: the same on every platform. It has to have pixels.
std::vector<std::uint8_t> EncodeAsPng(const CPixels& picture);

/// Whether an image file is a PNG that can be handed on as it is once it has been decoded: opaque, with the
/// chunks alone that make up a picture, all of them whole with the right checksums, and not above 1 MiB.
bool IsPlainPng(const std::uint8_t* bytes, std::size_t size) noexcept;

/// The same for a JPEG: of the kinds that everybody decodes, without notes or profiles, with its end mark,
/// and not above 1 MiB.
bool IsPlainJpeg(const std::uint8_t* bytes, std::size_t size) noexcept;

/// The picture as an opaque PNG or JPEG file, whichever is smaller; for files that are kept. Empty when the
/// system's drawing libraries do not work. It has to have pixels.
std::vector<std::uint8_t> EncodeSmall(const CPixels& picture);
/// Of the JPEG files that it makes, from 1 to 100: the eye finds nothing at this one.
inline constexpr int kJpegQuality = 88;

/// Writes bytes to a file, all of them or none: a regular file that could not be written whole is removed
/// again.
/// @param path   UTF-8 (elsewhere than on Windows any bytes); replaced when it exists
/// @param error  receives the system error code of a failure
bool WriteWholeFile(const char* path, const std::vector<std::uint8_t>& bytes, unsigned* error);

}  // namespace platform
