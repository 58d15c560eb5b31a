// Picture files: what the look at their headers lets through, the decoders take; a picture that was decoded,
// scaled and written is a picture.
//
// Options: side to scale to; then the picture file.

#include "tessel/platform/picture.h"
#include "fuzz_support.h"

namespace {

using namespace fuzz_support;

const CStrictAssertions gStrict;

bool HasItsPixels(const platform::CPixels& picture) {
    return picture.mRgb.size() == std::size_t{3} * picture.mWidth * picture.mHeight;
}

void CheckWritten(const platform::CPixels& picture) {
    const std::vector<std::uint8_t> png = platform::EncodeAsPng(picture);
    platform::CPixels               again;
    Require(platform::IsReasonableImage(png.data(), png.size()), "what was written is a picture");
    Require(platform::DecodeImage(png.data(), png.size(), &again), "what was written can be decoded");
    Require(again.mWidth == picture.mWidth && again.mHeight == picture.mHeight && again.mRgb == picture.mRgb,
            "a picture is read as written");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CInput                          input(data, size);
    const unsigned                  side = 1 + input.Byte();
    const std::vector<std::uint8_t> bytes(input.Rest().begin(), input.Rest().end());
    const bool                      reasonable = platform::IsReasonableImage(bytes.data(), bytes.size());
    platform::CPixels               picture;
    const bool                      decoded = platform::DecodeImage(bytes.data(), bytes.size(), &picture);
    Require(reasonable || !decoded, "nothing is decoded that is not let through");
    if (!decoded) return 0;
    platform::IsPlainPng(bytes.data(), bytes.size());  // asked of pictures that were decoded
    Require(HasItsPixels(picture), "a picture has its pixels");
    Require(std::uint64_t{picture.mWidth} * picture.mHeight <= platform::kMaxPicturePixels,
            "no picture is larger than allowed");
    const platform::CPixels scaled = platform::ScaleToFit(picture, side);
    Require(HasItsPixels(scaled) && scaled.mWidth <= side && scaled.mHeight <= side, "a picture is scaled");
    CheckWritten(scaled);
    return 0;
}
