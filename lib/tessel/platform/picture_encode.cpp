// PNG files are written without compression: whoever asks for a thumbnail decodes it at once and keeps a copy
// of its own, and compressing would take longer than all the rest of the work.

#include "tessel/platform/picture.h"
#include "tessel/platform/picture_crc.h"

#include <algorithm>
#include <string_view>

namespace platform {
namespace {

using namespace std::string_view_literals;

using CBytes = std::vector<std::uint8_t>;

void Append(CBytes& out, std::string_view bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

void AppendBigEndian(CBytes& out, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(value >> shift));
}

/// A chunk is a length, a name, the content, and a checksum over the last two.
class CChunk {
  public:
    CChunk(CBytes& out, std::string_view name) : mOut(out) {
        AppendBigEndian(out, 0);  // the length, once it is known
        mBegin = out.size();
        Append(out, name);
    }
    void End() {
        const auto length = static_cast<std::uint32_t>(mOut.size() - mBegin - 4);
        for (std::size_t i = 0; i < 4; ++i)
            mOut[mBegin - 4 + i] = static_cast<std::uint8_t>(length >> (24 - 8 * i));
        AppendBigEndian(mOut, Crc32(&mOut[mBegin], mOut.size() - mBegin));
    }

  private:
    CBytes&     mOut;
    std::size_t mBegin;
};

constexpr std::size_t kMaxBlock = 0xFFFF;

/// zlib data of stored blocks: a flag that is 1 for the last one, the length and its complement, lower byte
/// first, and the bytes; behind the last one a checksum over all of them.
class CStoredData {
  public:
    /// @param size  bytes that will be put in
    CStoredData(CBytes& out, std::size_t size) : mOut(out), mLeft(size) { Append(out, "\x78\x01"sv); }

    void Put(const std::uint8_t* bytes, std::size_t size) {
        while (size > 0) {
            if (mRoom == 0) BeginBlock();
            const std::size_t count = std::min(size, mRoom);
            mOut.insert(mOut.end(), bytes, bytes + count);
            AddToChecksum(bytes, count);
            mRoom -= count;
            bytes += count;
            size -= count;
        }
    }
    void End() { AppendBigEndian(mOut, static_cast<std::uint32_t>(mHigh << 16 | mLow)); }

  private:
    void BeginBlock() {
        mRoom = std::min(mLeft, kMaxBlock);
        mLeft -= mRoom;
        const auto low = static_cast<std::uint8_t>(mRoom), high = static_cast<std::uint8_t>(mRoom >> 8);
        mOut.insert(mOut.end(), {static_cast<std::uint8_t>(mLeft == 0), low, high,
                                 static_cast<std::uint8_t>(~low), static_cast<std::uint8_t>(~high)});
    }
    /// No more than a block at a time, which the sums have room for.
    void AddToChecksum(const std::uint8_t* bytes, std::size_t size) {
        constexpr std::uint64_t kModulus = 65521;
        for (std::size_t i = 0; i < size; ++i)
            mHigh += mLow += bytes[i];
        mLow %= kModulus;
        mHigh %= kModulus;
    }

    CBytes&       mOut;
    std::size_t   mLeft;
    std::size_t   mRoom = 0;  ///< bytes that the current block still takes
    std::uint64_t mLow = 1, mHigh = 0;
};

}  // namespace

std::vector<std::uint8_t> EncodeAsPng(const CPixels& picture) {
    constexpr std::uint8_t kUnfiltered = 0;
    const std::size_t      row = std::size_t{3} * picture.mWidth, size = (1 + row) * picture.mHeight;
    CBytes                 png;
    png.reserve(size + 5 * (size / kMaxBlock + 1) + 64);
    Append(png, "\x89PNG\r\n\x1A\n"sv);

    CChunk header(png, "IHDR");
    AppendBigEndian(png, picture.mWidth);
    AppendBigEndian(png, picture.mHeight);
    Append(png,
           "\x08\2\0\0\0"sv);  // 8 bits, red, green, blue; the only ways to pack and filter; rows in order
    header.End();

    CChunk      data(png, "IDAT");
    CStoredData stored(png, size);
    for (std::size_t y = 0; y < picture.mHeight; ++y) {
        stored.Put(&kUnfiltered, 1);
        stored.Put(&picture.mRgb[y * row], row);
    }
    stored.End();
    data.End();

    CChunk(png, "IEND").End();
    return png;
}

}  // namespace platform
