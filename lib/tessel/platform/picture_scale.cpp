#include "tessel/platform/picture.h"

#include <algorithm>

namespace platform {
namespace {

constexpr std::size_t kChannels = 3;

/// A row or a column of pixels inside a larger picture.
struct CLine {
    std::size_t mFirst;  ///< index of its first byte
    std::size_t mStep;   ///< bytes from one pixel to the next

    std::size_t At(std::uint64_t pixel) const { return mFirst + static_cast<std::size_t>(pixel) * mStep; }
};

/// Shrinks one line of `from` pixels to `to`. Both are laid over a ruler of `from * to` units, so that
/// a source pixel is `to` units long, a target pixel `from`, and every share is a whole number.
void ShrinkLine(const std::vector<std::uint8_t>& source, CLine sourceLine, std::uint64_t from,
                std::vector<std::uint8_t>& target, CLine targetLine, std::uint64_t to) {
    for (std::uint64_t pixel = 0; pixel < to; ++pixel) {
        const std::uint64_t begin = pixel * from, end = begin + from;
        std::uint64_t       sums[kChannels] = {};
        for (std::uint64_t i = begin / to; i * to < end; ++i) {
            const std::uint64_t share = std::min(end, (i + 1) * to) - std::max(begin, i * to);
            const auto*         rgb   = &source[sourceLine.At(i)];
            for (std::size_t channel = 0; channel < kChannels; ++channel)
                sums[channel] += share * rgb[channel];
        }
        auto* rgb = &target[targetLine.At(pixel)];
        for (std::size_t channel = 0; channel < kChannels; ++channel)
            rgb[channel] = static_cast<std::uint8_t>((sums[channel] + from / 2) / from);
    }
}

CPixels ShrinkWidth(const CPixels& picture, std::uint32_t width) {
    CPixels result{width, picture.mHeight, {}};
    result.mRgb.resize(kChannels * width * picture.mHeight);
    for (std::size_t y = 0; y < picture.mHeight; ++y)
        ShrinkLine(picture.mRgb, {y * picture.mWidth * kChannels, kChannels}, picture.mWidth, result.mRgb,
                   {y * width * kChannels, kChannels}, width);
    return result;
}

CPixels ShrinkHeight(const CPixels& picture, std::uint32_t height) {
    CPixels           result{picture.mWidth, height, {}};
    const std::size_t row = kChannels * picture.mWidth;
    result.mRgb.resize(row * height);
    for (std::size_t x = 0; x < picture.mWidth; ++x)
        ShrinkLine(picture.mRgb, {x * kChannels, row}, picture.mHeight, result.mRgb, {x * kChannels, row},
                   height);
    return result;
}

/// `side * maxSide / longest`, rounded, at least one pixel.
std::uint32_t ScaledSide(std::uint64_t side, std::uint64_t maxSide, std::uint64_t longest) {
    return static_cast<std::uint32_t>(std::max<std::uint64_t>(1, (side * maxSide + longest / 2) / longest));
}

}  // namespace

CPixels ScaleToFit(const CPixels& picture, std::uint32_t maxSide) {
    const std::uint32_t longest = std::max(picture.mWidth, picture.mHeight);
    if (maxSide == 0 || longest <= maxSide) return picture;
    return ShrinkHeight(ShrinkWidth(picture, ScaledSide(picture.mWidth, maxSide, longest)),
                        ScaledSide(picture.mHeight, maxSide, longest));
}

}  // namespace platform
