#include "tessel/platform/picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#ifndef _WIN32
#include <sys/resource.h>

#include <csignal>
#endif

using platform::CPixels;
using platform::NativeBitmap;

namespace {

using Bytes = std::vector<std::uint8_t>;

// ---------------------------------------------------------------------------------------------
// Image files small enough to be read here

Bytes FromHex(std::string_view hex) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(
            static_cast<std::uint8_t>(std::strtoul(std::string(hex.substr(i, 2)).c_str(), nullptr, 16)));
    return bytes;
}

// 3 x 2, palette of red, green, blue and a transparent white.
constexpr std::string_view kGif =
    "47494638396103000200f10000ff000000ff000000ffffffff21f90401000003002c000000000300020000020504c3511c51003"
    "b";
// 2 x 2, 24 bits, bottom row first.
constexpr std::string_view kBmp =
    "424d460000000000000036000000280000000200000002000000010018000000000010000000130b0000130b000000000000"
    "00000000ff0000ffffff00000000ff00ff000000";
// 16 x 8, left half (200, 30, 30), right half (30, 60, 200), quality 95, no chroma subsampling.
constexpr std::string_view kJpeg =
    "ffd8ffe000104a46494600010100000100010000ffdb00430002010101010102010101020202020204030202020205040403"
    "04060506060605060606070908060709070606080b08090a0a0a0a0a06080b0c0b0a0c090a0a0affdb004301020202020202"
    "050303050a0706070a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a"
    "0a0a0a0a0a0a0a0affc00011080008001003011100021101031101ffc4001500010100000000000000000000000000000608"
    "ffc40014100100000000000000000000000000000000ffc4001501010100000000000000000000000000000907ffc4001411"
    "0100000000000000000000000000000000ffda000c03010002110311003f0090d0b2a80e68021bffd9";

void PutBigEndian(Bytes& out, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t Crc(const std::uint8_t* bytes, std::size_t size) {
    static const auto kTable = [] {
        std::array<std::uint32_t, 256> table{};
        for (std::uint32_t i = 0; i < table.size(); ++i) {
            table[i] = i;
            for (int bit = 0; bit < 8; ++bit)
                table[i] = table[i] >> 1 ^ (table[i] & 1 ? 0xEDB88320u : 0u);
        }
        return table;
    }();
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < size; ++i)
        crc = kTable[(crc ^ bytes[i]) & 0xFF] ^ crc >> 8;
    return ~crc;
}

void PutChunk(Bytes& png, std::string_view type, const Bytes& data) {
    PutBigEndian(png, static_cast<std::uint32_t>(data.size()));
    const std::size_t begin = png.size();
    png.insert(png.end(), type.begin(), type.end());
    png.insert(png.end(), data.begin(), data.end());
    PutBigEndian(png, Crc(&png[begin], png.size() - begin));
}

/// zlib data that compresses nothing.
Bytes Stored(const Bytes& data) {
    constexpr std::size_t kMaxStored = 0xFFFF;
    Bytes                 out        = {0x78, 0x01};
    std::uint32_t         low = 1, high = 0;
    for (const auto byte : data)
        high = (high + (low = (low + byte) % 65521)) % 65521;
    for (std::size_t at = 0; at < data.size(); at += kMaxStored) {
        const std::size_t size = std::min(kMaxStored, data.size() - at);
        const bool        last = at + size == data.size();
        const auto        lo = static_cast<std::uint8_t>(size), hi = static_cast<std::uint8_t>(size >> 8);
        out.insert(out.end(), {static_cast<std::uint8_t>(last), lo, hi, static_cast<std::uint8_t>(~lo),
                               static_cast<std::uint8_t>(~hi)});
        const auto* begin = data.data() + at;
        out.insert(out.end(), begin, begin + size);
    }
    PutBigEndian(out, high << 16 | low);
    return out;
}

enum EColour : std::uint8_t { kGrey = 0, kRgb = 2, kPalette = 3, kRgba = 6 };

/// @param rows  the rows' bytes, each row with its filter byte 0 in front
Bytes Png(std::uint32_t width, std::uint32_t height, std::uint8_t bits, EColour colour, const Bytes& rows) {
    Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Bytes header;
    PutBigEndian(header, width);
    PutBigEndian(header, height);
    header.insert(header.end(), {bits, colour, 0, 0, 0});
    PutChunk(png, "IHDR", header);
    if (colour == kPalette) {
        PutChunk(png, "PLTE", {10, 20, 30, 200, 100, 50});
        PutChunk(png, "tRNS", {0, 255});
    }
    PutChunk(png, "IDAT", Stored(rows));
    PutChunk(png, "IEND", {});
    return png;
}

const Bytes kRgbaPng =
    Png(2, 2, 8, kRgba, {0, 255, 0, 0, 255, 200, 100, 50, 128, 0, 255, 255, 255, 0, 0, 0, 255, 1});

Bytes BlackPng(std::uint32_t width, std::uint32_t height) {
    return Png(width, height, 1, kGrey, Bytes(height * (1 + (width + 7) / 8)));
}

// ---------------------------------------------------------------------------------------------

struct CBitmap {
    NativeBitmap mBitmap = nullptr;

    explicit CBitmap(const Bytes& bytes)
        : mBitmap(platform::CreateBitmapFromImage(bytes.data(), bytes.size())) {}
    ~CBitmap() { platform::DestroyBitmap(mBitmap); }
    CBitmap(const CBitmap&)            = delete;
    CBitmap& operator=(const CBitmap&) = delete;

    CPixels Pixels() const {
        CPixels pixels;
        EXPECT_TRUE(platform::GetBitmapPixels(mBitmap, &pixels));
        return pixels;
    }
};

void ExpectNear(const CPixels& pixels, const Bytes& expected, int tolerance) {
    ASSERT_EQ(pixels.mRgb.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(pixels.mRgb[i], expected[i], tolerance) << "pixel " << i / 3 << " channel " << i % 3;
}

Bytes ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

std::string Utf8(const std::filesystem::path& path) {
    const auto text = path.u8string();
    return {text.begin(), text.end()};
}

/// A folder of its own with a name beyond any single code page.
class Pictures : public testing::Test {
  protected:
    void SetUp() override { std::filesystem::create_directories(mFolder); }
    void TearDown() override { std::filesystem::remove_all(mFolder); }

    const std::filesystem::path mFolder =
        std::filesystem::path(testing::TempDir()) / u8"tarvex-pictures-\u00e4\u03a9\u4e2d";
};

struct CImageCase {
    const char*   mName;
    Bytes         mBytes;
    std::uint32_t mWidth, mHeight;
    Bytes         mRgb;
    int           mTolerance;
};

Bytes JpegPixels() {
    Bytes rgb;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 16; ++x)
            rgb.insert(rgb.end(), {static_cast<std::uint8_t>(x < 8 ? 200 : 30),
                                   static_cast<std::uint8_t>(x < 8 ? 30 : 60),
                                   static_cast<std::uint8_t>(x < 8 ? 30 : 200)});
    return rgb;
}

TEST_F(Pictures, EveryFormatDecodesOverBlack) {
    const CImageCase kCases[] = {
        {"png with alpha", kRgbaPng, 2, 2, {255, 0, 0, 100, 50, 25, 0, 0, 0, 0, 0, 1}, 1},
        {"png, grey", Png(2, 1, 8, kGrey, {0, 7, 250}), 2, 1, {7, 7, 7, 250, 250, 250}, 0},
        {"png, transparent colour", Png(2, 1, 8, kPalette, {0, 0, 1}), 2, 1, {0, 0, 0, 200, 100, 50}, 0},
        {"gif", FromHex(kGif), 3, 2, {255, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0}, 0},
        {"bmp", FromHex(kBmp), 2, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255}, 0},
        {"jpeg", FromHex(kJpeg), 16, 8, JpegPixels(), 6},
    };
    for (const CImageCase& image : kCases) {
        SCOPED_TRACE(image.mName);
        std::uint32_t      references = 99;
        const NativeBitmap bitmap =
            platform::CreateBitmapFromImage(image.mBytes.data(), image.mBytes.size(), &references);
        CPixels pixels;
        ASSERT_TRUE(platform::GetBitmapPixels(bitmap, &pixels));
        platform::DestroyBitmap(bitmap);
        EXPECT_EQ(references, 0u);
        EXPECT_EQ(pixels.mWidth, image.mWidth);
        EXPECT_EQ(pixels.mHeight, image.mHeight);
        ExpectNear(pixels, image.mRgb, image.mTolerance);
    }
}

TEST_F(Pictures, BytesThatAreNoPictureGiveNone) {
    for (const std::string_view text : {"", "BM", "\x89PNG", "GIF89a", "no picture at all",
                                        "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>"})
        EXPECT_EQ(CBitmap(Bytes(text.begin(), text.end())).mBitmap, nullptr) << text;
    EXPECT_EQ(platform::CreateBitmapFromImage(nullptr, 0), nullptr);
    platform::DestroyBitmap(nullptr);
    CPixels pixels;
    EXPECT_FALSE(platform::GetBitmapPixels(nullptr, &pixels));
    EXPECT_FALSE(platform::WriteBitmapAsPng(nullptr, 0, Utf8(mFolder / "none.png").c_str()));
    EXPECT_FALSE(std::filesystem::exists(mFolder / "none.png"));
}

// A picture may survive, as it does when only its colours are hit; then it has to be whole.
TEST_F(Pictures, DamagedFilesGiveAPictureOrNone) {
    for (const Bytes& whole : {kRgbaPng, FromHex(kGif), FromHex(kJpeg), FromHex(kBmp)}) {
        const auto tryOut = [](const Bytes& bytes) {
            const CBitmap bitmap(bytes);
            if (bitmap.mBitmap == nullptr) return;
            const CPixels pixels = bitmap.Pixels();
            EXPECT_EQ(pixels.mRgb.size(), std::size_t{3} * pixels.mWidth * pixels.mHeight);
        };
        for (std::size_t i = 0; i < whole.size(); ++i) {
            tryOut(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i)));
            Bytes damaged = whole;
            damaged[i] ^= 0xFF;
            tryOut(damaged);
        }
    }
}

TEST_F(Pictures, ThePixelLimitHoldsForAWellFormedPicture) {
    static_assert(platform::kMaxPicturePixels == 4096u * 4096u);
    EXPECT_NE(CBitmap(BlackPng(4096, 4096)).mBitmap, nullptr);
    EXPECT_EQ(CBitmap(BlackPng(4097, 4096)).mBitmap, nullptr);
    EXPECT_EQ(CBitmap(BlackPng(16384, 1025)).mBitmap, nullptr);
}

TEST(IsReasonableImage, LooksAtStatedSidesAndAtScans) {
    const auto with = [](std::string_view hex, std::size_t at, const Bytes& replacement) {
        Bytes bytes = FromHex(hex);
        std::copy(replacement.begin(), replacement.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
        return bytes;
    };
    const auto withScans = [](std::size_t count) {
        Bytes       bytes = FromHex(kJpeg);
        const Bytes scan(bytes.end() - 24, bytes.end() - 2);  // from the start of its scan to the end marker
        for (std::size_t i = 1; i < count; ++i)
            bytes.insert(bytes.end() - 2, scan.begin(), scan.end());
        return bytes;
    };
    const struct {
        const char* mName;
        Bytes       mBytes;
        bool        mReasonable;
    } kCases[] = {
        {"no picture", {'x'}, true},
        {"png", kRgbaPng, true},
        {"png cut in its header", Bytes(kRgbaPng.begin(), kRgbaPng.begin() + 23), false},
        {"png, sides whose product overflows", Png(0xFFFFFFFF, 0xFFFFFFFF, 1, kGrey, {}), false},
        {"gif", FromHex(kGif), true},
        {"gif, 4096 x 4096", with(kGif, 6, {0, 16, 0, 16}), true},
        {"gif, 4097 x 4096", with(kGif, 6, {1, 16, 0, 16}), false},
        {"jpeg", FromHex(kJpeg), true},
        {"jpeg, 4096 x 4096", with(kJpeg, 163, {16, 0, 16, 0}), true},
        {"jpeg, 4096 x 4097", with(kJpeg, 163, {16, 1, 16, 0}), false},
        {"jpeg, 64 scans", withScans(64), true},
        {"jpeg, 65 scans", withScans(65), false},
        {"jpeg, sides inside a comment",
         FromHex("ffd8fffe000cffc0001108ffffffff00" + std::string(kJpeg.substr(4))), true},
    };
    for (const auto& [name, bytes, reasonable] : kCases)
        EXPECT_EQ(platform::IsReasonableImage(bytes.data(), bytes.size()), reasonable) << name;
}

TEST(ScaleToFit, KeepsTheProportionsAndNeverScalesUp) {
    struct CCase {
        std::uint32_t mWidth, mHeight, mMaxSide, mNewWidth, mNewHeight;
    };
    constexpr CCase kCases[] = {
        // clang-format off
        // picture   side  result
        { 300,  100,   64, 64,   21},
        { 100,  300,   64, 21,   64},
        { 256,  192,  128, 128,  96},
        {  64,   64,   64, 64,   64},
        {   5,    3,   64, 5,     3},
        {   5,    3,    0, 5,     3},
        {1000,    1,   10, 10,    1},
        {   7,    9,    1, 1,     1},
        // clang-format on
    };
    for (const auto& [width, height, maxSide, newWidth, newHeight] : kCases) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " to " + std::to_string(maxSide));
        // One colour stays that colour.
        const CPixels scaled =
            platform::ScaleToFit({width, height, Bytes(std::size_t{3} * width * height, 201)}, maxSide);
        EXPECT_EQ(scaled.mWidth, newWidth);
        EXPECT_EQ(scaled.mHeight, newHeight);
        EXPECT_EQ(scaled.mRgb, Bytes(std::size_t{3} * newWidth * newHeight, 201));
    }
}

TEST(ScaleToFit, APixelIsTheMeanOfItsArea) {
    // Two pixels into one, both ways.
    const CPixels block{
        4, 2, {0, 10, 20, 40, 10, 20, 9, 9, 9, 9, 9, 9, 80, 10, 20, 80, 10, 20, 9, 9, 9, 9, 9, 9}};
    EXPECT_EQ(platform::ScaleToFit(block, 2).mRgb, (Bytes{50, 10, 20, 9, 9, 9}));
    // Three into two: the middle one is shared.
    const CPixels row{3, 1, {30, 0, 0, 60, 0, 0, 120, 0, 255}};
    EXPECT_EQ(platform::ScaleToFit(row, 2).mRgb, (Bytes{40, 0, 0, 100, 0, 170}));
    const CPixels column{1, 3, row.mRgb};
    EXPECT_EQ(platform::ScaleToFit(column, 2).mRgb, (Bytes{40, 0, 0, 100, 0, 170}));
}

TEST_F(Pictures, PngFilesReadBackAsWritten) {
    const auto  path       = mFolder / u8"\u00fcber \u4e2d.png";
    const Bytes pictures[] = {FromHex(kGif), FromHex(kBmp), kRgbaPng, FromHex(kJpeg)};
    for (const Bytes& picture : pictures) {  // each replaces the one before
        const CBitmap bitmap(picture);
        unsigned      error = 99;
        ASSERT_TRUE(platform::WriteBitmapAsPng(bitmap.mBitmap, 0, Utf8(path).c_str(), &error));
        EXPECT_EQ(error, 0u);
        const CPixels before = bitmap.Pixels(), after = CBitmap(ReadFile(path)).Pixels();
        EXPECT_EQ(after.mWidth, before.mWidth);
        EXPECT_EQ(after.mRgb, before.mRgb);
        EXPECT_EQ(ReadFile(path)[25], kRgb) << "no alpha channel in the file";
    }
    const CBitmap bitmap(FromHex(kJpeg));
    ASSERT_TRUE(platform::WriteBitmapAsPng(bitmap.mBitmap, 4, Utf8(path).c_str()));
    const CPixels small = CBitmap(ReadFile(path)).Pixels();
    EXPECT_EQ(small.mWidth, 4u);
    EXPECT_EQ(small.mHeight, 2u);
    EXPECT_EQ(small.mRgb, platform::ScaleToFit(bitmap.Pixels(), 4).mRgb);
}

TEST_F(Pictures, AFileThatCannotBeWrittenIsReported) {
    const CBitmap bitmap(kRgbaPng);
    for (const auto& path : {mFolder / "missing" / "a.png", mFolder}) {
        unsigned error = 0;
        EXPECT_FALSE(platform::WriteBitmapAsPng(bitmap.mBitmap, 0, Utf8(path).c_str(), &error));
        EXPECT_NE(error, 0u);
    }
    EXPECT_TRUE(std::filesystem::is_directory(mFolder));
    EXPECT_TRUE(std::filesystem::is_empty(mFolder));
}

#ifndef _WIN32
TEST_F(Pictures, AFileThatCannotBeWrittenWholeIsRemoved) {
    const CBitmap bitmap(kRgbaPng);
    unsigned      error = 0;
    EXPECT_FALSE(platform::WriteBitmapAsPng(bitmap.mBitmap, 0, "/dev/full", &error));
    EXPECT_EQ(error, static_cast<unsigned>(ENOSPC));
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));

    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    rlimit small   = old;
    small.rlim_cur = 20;  // bytes: less than any PNG
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool written =
        platform::WriteBitmapAsPng(bitmap.mBitmap, 0, Utf8(mFolder / "cut.png").c_str(), &error);
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_FALSE(written);
    EXPECT_EQ(error, static_cast<unsigned>(EFBIG));
    EXPECT_TRUE(std::filesystem::is_empty(mFolder));
}
#endif

}  // namespace
