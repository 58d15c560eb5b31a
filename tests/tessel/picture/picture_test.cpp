#include "tessel/platform/picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
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

#ifndef _WIN32
// 8 x 8 of one printer's colour: cyan, magenta, yellow and black 255, 128, 55, 200, inverted as usual.
constexpr std::string_view kCmykJpeg =
    "ffd8ffee000e41646f626500640000000002ffdb004300020101010101020101010202020202040302020202050404030406"
    "0506060605060606070908060709070606080b08090a0a0a0a0a06080b0c0b0a0c090a0a0affdb0043010202020202020503"
    "03050a0706070a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a0a"
    "0a0a0a0a0a0affc00014080008000804011100021101031101041100ffc40015000101000000000000000000000000000007"
    "09ffc40014100100000000000000000000000000000000ffc4001501010100000000000000000000000000000809ffc40014"
    "110100000000000000000000000000000000ffda000e040100021103110400003f00033a13ad481fffd9";
#endif

void Put(Bytes& out, std::uint32_t value, int size, bool bigEndian) {
    for (int i = 0; i < size; ++i)
        out.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? size - 1 - i : i)));
}

void PutBigEndian(Bytes& out, std::uint32_t value) {
    Put(out, value, 4, true);
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

/// @param rest  the numbers behind the header's size
Bytes Bmp(std::uint32_t headerSize, const std::vector<std::uint32_t>& rest) {
    Bytes bmp = FromHex(kBmp.substr(0, 28));
    Put(bmp, headerSize, 4, false);
    for (const std::uint32_t number : rest)
        Put(bmp, number, 4, false);
    bmp[10] = static_cast<std::uint8_t>(std::min<std::size_t>(bmp[10], bmp.size()));  // the pixels' place
    return bmp;
}

/// 8 bits a pixel, run lengths, the two bytes that end the picture and no more.
Bytes RleBmp(std::uint32_t width, std::uint32_t height) {
    Bytes bmp = Bmp(40, {width, height, 1 | 8 << 16, 1, 2, 0, 0, 1, 0, 0, 0x0100});
    bmp.resize(60);
    bmp[10] = 58;  // where the two bytes are
    return bmp;
}

/// An icon of one picture: a PNG file, or a BMP file without its file header.
Bytes Icon(const Bytes& picture) {
    Bytes icon = {0, 0, 1, 0, 1, 0, 2, 2, 0, 0, 1, 0, 24, 0};
    Put(icon, static_cast<std::uint32_t>(picture.size()), 4, false);
    Put(icon, 22, 4, false);
    icon.insert(icon.end(), picture.begin(), picture.end());
    return icon;
}

/// The picture of `kBmp`, with a mask that lets all of it through.
Bytes BmpIcon() {
    Bytes picture(FromHex(kBmp.substr(28)));
    picture[8] = 4;  // the height, with the mask's
    picture.insert(picture.end(), 8, 0);
    return Icon(picture);
}

struct CTiffTag {
    std::uint32_t mTag, mType, mValue, mCount = 1;
};
constexpr std::uint32_t kShort = 3, kLong = 4, kLong8 = 16;

/// One grey channel in one strip: a directory at 8, then the pixels, packed when they are zlib data.
/// @param tags  the sides, and what else is wanted
/// @param next  the second directory's place
Bytes Tiff(bool bigEndian, std::vector<CTiffTag> tags, const Bytes& pixels, std::uint32_t next = 0) {
    const bool packed = !pixels.empty() && pixels[0] == 0x78;
    tags.insert(tags.end(), {{258, kShort, 8}, {259, kShort, packed ? 8u : 1u}, {262, kShort, 1}});
    const auto count = static_cast<std::uint32_t>(tags.size() + 2), end = 8 + 2 + 12 * count + 4;
    tags.insert(tags.end(), {{273, kLong, end}, {279, kLong, static_cast<std::uint32_t>(pixels.size())}});
    std::ranges::stable_sort(tags, {}, &CTiffTag::mTag);
    Bytes tiff = {'I', 'I', 42, 0};
    if (bigEndian) tiff = {'M', 'M', 0, 42};
    const auto put = [&](std::uint32_t value, int size) { Put(tiff, value, size, bigEndian); };
    put(8, 4);
    put(count, 2);
    for (const auto& [tag, type, value, valueCount] : tags) {
        put(tag, 2);
        put(type, 2);
        put(valueCount, 4);
        put(value, type == kShort ? 2 : 4);
        if (type == kShort) put(0, 2);
    }
    put(next, 4);
    tiff.insert(tiff.end(), pixels.begin(), pixels.end());
    return tiff;
}

const Bytes kHugeTiff = Tiff(false, {{256, kShort, 20000}, {257, kShort, 20000}}, Stored({0}));

/// @param more  further tags
Bytes SizedTiff(std::uint32_t width, std::uint32_t height, std::vector<CTiffTag> more = {}) {
    more.insert(more.begin(), {{256, kLong, width}, {257, kLong, height}});
    return Tiff(false, std::move(more), {});
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

[[maybe_unused]] Bytes Repeated(const Bytes& pixel, int count) {
    Bytes rgb;
    for (; count > 0; --count)
        rgb.insert(rgb.end(), pixel.begin(), pixel.end());
    return rgb;
}

TEST_F(Pictures, EveryFormatDecodesOverBlack) {
    const CImageCase kCases[] = {
        {"png with alpha", kRgbaPng, 2, 2, {255, 0, 0, 100, 50, 25, 0, 0, 0, 0, 0, 1}, 1},
        {"png, grey", Png(2, 1, 8, kGrey, {0, 7, 250}), 2, 1, {7, 7, 7, 250, 250, 250}, 0},
        {"png, 16 bits", Png(1, 1, 16, kRgb, {0, 200, 200, 100, 100, 50, 50}), 1, 1, {200, 100, 50}, 0},
        {"png, transparent colour", Png(2, 1, 8, kPalette, {0, 0, 1}), 2, 1, {0, 0, 0, 200, 100, 50}, 0},
        {"gif", FromHex(kGif), 3, 2, {255, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0}, 0},
        {"bmp", FromHex(kBmp), 2, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255}, 0},
        {"bmp, top row first",
         Bmp(40, {1, 0u - 2, 1 | 24 << 16, 0, 8, 0, 0, 0, 0, 0x030201, 0x060504}),
         1,
         2,
         {3, 2, 1, 6, 5, 4},
         0},
        {"jpeg", FromHex(kJpeg), 16, 8, JpegPixels(), 6},
        {"tiff",
         Tiff(false, {{256, kShort, 2}, {257, kLong, 1}}, {7, 250}),
         2,
         1,
         {7, 7, 7, 250, 250, 250},
         0},
        {"tiff, big-endian, packed",
         Tiff(true, {{256, kLong, 2}, {257, kShort, 1}, {278, kLong, 0xFFFFFFFF}}, Stored({7, 250})),
         2,
         1,
         {7, 7, 7, 250, 250, 250},
         0},
        {"icon", BmpIcon(), 2, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255}, 0},
#ifdef _WIN32  // elsewhere the decoder does not know them
        {"icon with a png", Icon(kRgbaPng), 2, 2, {255, 0, 0, 100, 50, 25, 0, 0, 0, 0, 0, 1}, 1},
#else
        {"jpeg, printer's colours", FromHex(kCmykJpeg), 8, 8, Repeated({200, 100, 43}, 64), 6},
#endif
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

TEST_F(Pictures, EveryShadeOfEveryOpacityIsLaidOverBlack) {
#ifdef _WIN32
    constexpr int kTolerance = 1;
#else
    constexpr int kTolerance = 0;
#endif
    constexpr unsigned kRows = 32;  // fit the block that the picture is made of
    for (unsigned first = 0; first < 256; first += kRows) {
        Bytes rows, expected;
        for (unsigned opacity = first; opacity < first + kRows; ++opacity) {
            rows.push_back(0);
            for (unsigned shade = 0; shade < 256; ++shade) {
                for (const unsigned channel : {shade, 255 - shade, shade ^ 0x55}) {
                    rows.push_back(static_cast<std::uint8_t>(channel));
                    expected.push_back(static_cast<std::uint8_t>((channel * opacity + 127) / 255));
                }
                rows.push_back(static_cast<std::uint8_t>(opacity));
            }
        }
        const CBitmap bitmap(Png(256, kRows, 8, kRgba, rows));
        CPixels       pixels;
        ASSERT_TRUE(platform::GetBitmapPixels(bitmap.mBitmap, &pixels));
        ExpectNear(pixels, expected, kTolerance);
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
}

// A picture may survive, as it does when only its colours are hit; then it has to be whole.
TEST_F(Pictures, DamagedFilesGiveAPictureOrNone) {
    for (const Bytes& whole : {kRgbaPng, FromHex(kGif), FromHex(kJpeg), FromHex(kBmp), BmpIcon(),
                               Tiff(true, {{256, kLong, 1}, {257, kLong, 1}}, {7})}) {
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

TEST_F(Pictures, WhatIsCutShort) {
    const Bytes png = BlackPng(64, 64);
    EXPECT_EQ(CBitmap(Bytes(png.begin(), png.end() - 100)).mBitmap, nullptr);
#ifndef _WIN32  // there a JPEG gives nothing either
    const Bytes   jpeg  = FromHex(kJpeg);
    const CPixels upper = CBitmap(Bytes(jpeg.begin(), jpeg.end() - 4)).Pixels();
    EXPECT_EQ(upper.mWidth, 16u);
    EXPECT_EQ(upper.mHeight, 8u);
#endif
}

#ifndef _WIN32
TEST_F(Pictures, DecodersKeepTheirWarningsToThemselves) {
    Bytes badText = kRgbaPng;  // a text whose checksum is wrong, and a JPEG that ends too early
    Bytes chunk;
    PutChunk(chunk, "tEXt", {'a', 0, 'b'});
    chunk.back() ^= 1;
    badText.insert(badText.begin() + 33, chunk.begin(), chunk.end());
    const Bytes jpeg = FromHex(kJpeg);
    testing::internal::CaptureStderr();
    EXPECT_NE(CBitmap(badText).mBitmap, nullptr);
    EXPECT_NE(CBitmap(Bytes(jpeg.begin(), jpeg.end() - 4)).mBitmap, nullptr);
    EXPECT_EQ(CBitmap(Png(2, 2, 3, kRgb, {})).mBitmap, nullptr);
    EXPECT_EQ(CBitmap(Bytes(jpeg.begin(), jpeg.begin() + 170)).mBitmap, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
#endif

TEST_F(Pictures, ThePixelLimitHoldsForAWellFormedPicture) {
    static_assert(platform::kMaxPicturePixels == 4096u * 4096u);
    EXPECT_NE(CBitmap(BlackPng(4096, 4096)).mBitmap, nullptr);
    EXPECT_EQ(CBitmap(BlackPng(4097, 4096)).mBitmap, nullptr);
    EXPECT_EQ(CBitmap(BlackPng(16384, 1025)).mBitmap, nullptr);
    EXPECT_EQ(CBitmap(RleBmp(20000, 20000)).mBitmap, nullptr);
    EXPECT_EQ(CBitmap(kHugeTiff).mBitmap, nullptr);
}

TEST(IsReasonableImage, LooksAtStatedSizesAndAtScans) {
    const auto cut = [](const Bytes& bytes, std::size_t size) {
        return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    };
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
    // A screen of one pixel; frames, each of one colour-table-less block of data, with junk between them.
    const auto withFrames = [](std::uint16_t side, int count) {
        const Bytes size  = {static_cast<std::uint8_t>(side), static_cast<std::uint8_t>(side >> 8)};
        Bytes       bytes = {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0, 0x21, 0xFE, 1, 'x', 0, 7};
        for (; count > 0; --count) {
            bytes.insert(bytes.end(),
                         {0x2C, 0, 0, 0, 0, size[0], size[1], size[0], size[1], 0, 2, 1, 0x44, 0});
        }
        bytes.push_back(0x3B);
        return bytes;
    };
    Bytes twoPictures = BmpIcon();
    twoPictures[4]    = 2;  // the second entry is read out of the first picture
    Bytes twoPages    = Tiff(false, {{256, kLong, 2}, {257, kLong, 2}}, {}, 98);
    Bytes page        = SizedTiff(4096, 4097);
    twoPages.insert(twoPages.end(), page.begin() + 8, page.end());
    const struct {
        const char* mName;
        Bytes       mBytes;
        bool        mReasonable;
    } kCases[] = {
        {"nothing", {}, false},
        {"no picture", {'x'}, false},
        {"metafile", {1, 0, 9, 0, 0, 3}, false},
        {"placeable metafile", {0xD7, 0xCD, 0xC6, 0x9A}, false},
        {"enhanced metafile", {1, 0, 0, 0, 0x6C, 0, 0, 0}, false},
        {"cursor", {0, 0, 2, 0, 0, 0}, false},
        {"png", kRgbaPng, true},
        {"png cut in its header", cut(kRgbaPng, 23), false},
        {"png, sides whose product overflows", Png(0xFFFFFFFF, 0xFFFFFFFF, 1, kGrey, {}), false},
        {"gif", FromHex(kGif), true},
        {"gif, 4096 x 4096", with(kGif, 6, {0, 16, 0, 16}), true},
        {"gif, 4097 x 4096", with(kGif, 6, {1, 16, 0, 16}), false},
        {"jpeg", FromHex(kJpeg), true},
        {"jpeg, 4096 x 4096", with(kJpeg, 163, {16, 0, 16, 0}), true},
        {"jpeg, 4096 x 4097", with(kJpeg, 163, {16, 1, 16, 0}), false},
        {"jpeg cut in its frame header", cut(FromHex(kJpeg), 166), false},
        {"jpeg, 64 scans", withScans(64), true},
        {"jpeg, 65 scans", withScans(65), false},
        {"jpeg, sides inside a comment",
         FromHex("ffd8fffe000cffc0001108ffffffff00" + std::string(kJpeg.substr(4))), true},

        {"bmp, 4096 x 4096", RleBmp(4096, 4096), true},
        {"bmp, 4096 x -4096", RleBmp(4096, 0u - 4096), true},
        {"bmp, 4096 x 4097", RleBmp(4096, 4097), false},
        {"bmp, 4096 x -4097", RleBmp(4096, 0u - 4097), false},
        {"bmp, 20000 x 20000 in two bytes", RleBmp(20000, 20000), false},
        {"bmp, the smallest height", RleBmp(1, 0x80000000), false},
        {"bmp, the smallest sides", RleBmp(0x80000000, 0x80000000), false},
        {"bmp, old header", Bmp(12, {4096 | 4096 << 16, 1 | 8 << 16}), true},
        {"bmp, old header, 4097 x 4096", Bmp(12, {4097 | 4096 << 16, 1 | 8 << 16}), false},
        {"bmp, old header, 65535 x 65535", Bmp(12, {0xFFFFFFFF, 1 | 8 << 16}), false},
        {"bmp, shortest new header", Bmp(16, {2, 2, 1}), true},
        {"bmp, no header is that short", Bmp(15, {2, 2, 1}), false},
        {"bmp cut behind its begin", cut(RleBmp(2, 2), 14), false},
        {"bmp cut in its header", cut(RleBmp(2, 2), 53), false},
        {"bmp, pixels at its end", with(kBmp, 10, {70, 0, 0, 0}), true},
        {"bmp, pixels beyond its end", with(kBmp, 10, {71, 0, 0, 0}), false},
        {"bmp, header beyond any file", Bmp(0xFFFFFFFF, {2, 2, 1}), false},

        {"icon", BmpIcon(), true},
        {"icon with a png", Icon(kRgbaPng), true},
        {"icon with more colours than bytes",
         Icon(FromHex("28000000020000000400000001001800" + std::string(32, '0') + "0000000100000000")),
         false},
        {"icon with a bmp, 20000 x 20000", Icon(FromHex("28000000204e0000204e0000" + std::string(56, '0'))),
         false},
        {"icon with a png, 4097 x 4096", Icon(Png(4097, 4096, 1, kGrey, {})), false},
        {"icon, first picture good, second beyond its end", twoPictures, false},
        {"icon cut in its list", cut(BmpIcon(), 21), false},
        {"icon cut in its picture's header", cut(BmpIcon(), 61), false},

        {"tiff, 4096 x 4096", SizedTiff(4096, 4096), true},
        {"tiff, 4096 x 4097", SizedTiff(4096, 4097), false},
        {"tiff, 20000 x 20000, packed", kHugeTiff, false},
        {"tiff, big-endian, 20000 x 20000", Tiff(true, {{256, kShort, 20000}, {257, kShort, 20000}}, {}),
         false},
        {"tiff, sides whose product overflows", SizedTiff(0xFFFFFFFF, 0xFFFFFFFF), false},
        {"tiff without a height", Tiff(false, {{256, kLong, 2}}, {}), false},
        {"tiff, two widths", SizedTiff(2, 2, {{256, kLong, 3}}), false},
        {"tiff, a width of eight bytes", Tiff(false, {{256, kLong8, 2}, {257, kLong, 2}}, {}), false},
        {"tiff, a list of widths", Tiff(false, {{256, kLong, 2, 2}, {257, kLong, 2}}, {}), false},
        {"tiff, 8 samples", SizedTiff(2, 2, {{277, kShort, 8}}), true},
        {"gif, a frame within the limit", withFrames(4096, 1), true},
        {"gif, a frame beyond it", withFrames(20000, 1), false},
        {"gif, frames within the limit", withFrames(400, 100), true},
        {"gif, frames beyond it together", withFrames(4000, 2), false},
        {"gif cut in a block of data", cut(withFrames(400, 1), 32), true},
        {"tiff, 9 samples", SizedTiff(2, 2, {{277, kShort, 9}}), false},
        {"tiff, all in one strip", SizedTiff(2, 2, {{278, kLong, 0xFFFFFFFF}}), true},
        {"tiff, a strip too high", SizedTiff(4096, 2, {{278, kLong, 4097}}), false},
        {"tiff, tiles", SizedTiff(4096, 4096, {{322, kShort, 256}, {323, kShort, 256}}), true},
        {"tiff, a tile too large", SizedTiff(2, 2, {{322, kLong, 4097}, {323, kLong, 4096}}), false},
        {"tiff, a tile whose size overflows", SizedTiff(2, 2, {{322, kLong, ~0u}, {323, kLong, ~0u}}), false},
        {"tiff, large tiles over a narrow picture",
         SizedTiff(1, 65536, {{322, kShort, 4096}, {323, kShort, 4096}}), false},
        {"tiff cut in its directory", cut(SizedTiff(2, 2), 97), false},
        {"tiff without a directory", {'I', 'I', 42, 0, 0, 0, 0, 0}, false},
        {"tiff, directory behind the end", {'I', 'I', 42, 0, 0xFF, 0xFF, 0xFF, 0xFF}, false},
        {"tiff, directories in a ring", Tiff(false, {{256, kLong, 2}, {257, kLong, 2}}, {}, 8), false},
        {"tiff, second directory too large", twoPages, false},
        {"tiff with numbers of eight bytes", {'I', 'I', 43, 0, 8, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0}, false},
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

TEST(IsPlainPng, TakesWholeOpaquePicturesOnly) {
    const Bytes rgb  = Png(2, 1, 8, kRgb, {0, 1, 2, 3, 4, 5, 6});
    const auto  with = [](Bytes bytes, std::string_view chunk, const Bytes& content) {
        Bytes extra;
        PutChunk(extra, chunk, content);
        bytes.insert(bytes.end() - 12, extra.begin(), extra.end());  // before the end chunk
        return bytes;
    };
    const auto header = [](std::uint8_t bits, std::uint8_t colour, std::uint8_t interlaced) {
        Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
        PutChunk(png, "IHDR", {0, 0, 0, 1, 0, 0, 0, 1, bits, colour, 0, 0, interlaced});
        PutChunk(png, "IEND", {});
        return png;
    };
    Bytes trailing = rgb;
    trailing.push_back(0);
    Bytes huge = rgb;  // a chunk that claims more than there is
    huge[33]   = 0xFF;
    const struct {
        const char* mName;
        Bytes       mBytes;
        bool        mPlain;
    } kCases[] = {
        {"colours", rgb, true},
        {"grey", Png(2, 1, 8, kGrey, {0, 7, 250}), true},
        {"resolution and gamma", with(with(rgb, "pHYs", Bytes(9)), "gAMA", {0, 0, 0xB1, 0x8F}), true},
        {"1 MiB", with(rgb, "IDAT", Bytes((1u << 20) - rgb.size() - 12)), true},
        {"one byte more", with(rgb, "IDAT", Bytes((1u << 20) - rgb.size() - 11)), false},
        {"opacities", kRgbaPng, false},
        {"grey and opacities", header(8, 4, 0), false},
        {"palette with a transparent colour", Png(2, 1, 8, kPalette, {0, 0, 1}), false},
        {"palette", header(8, kPalette, 0), true},
        {"interlaced", header(8, kRgb, 1), false},
        {"a text", with(rgb, "tEXt", {'a', 0, 'b'}), false},
        {"an animation", with(rgb, "acTL", Bytes(8)), false},
        {"a second picture behind it", trailing, false},
        {"a chunk beyond the end", huge, false},
        {"jpeg", FromHex(kJpeg), false},
        {"nothing", {}, false},
    };
    for (const auto& [name, bytes, plain] : kCases)
        EXPECT_EQ(platform::IsPlainPng(bytes.data(), bytes.size()), plain) << name;
    for (std::size_t i = 0; i < rgb.size(); ++i) {
        Bytes damaged = rgb;
        damaged[i] ^= 0x10;
        EXPECT_FALSE(platform::IsPlainPng(damaged.data(), damaged.size())) << "changed at " << i;
        EXPECT_FALSE(platform::IsPlainPng(rgb.data(), i)) << "cut at " << i;
    }
}

TEST(IsPlainJpeg, TakesWholePicturesWithoutNotes) {
    const Bytes jpeg = FromHex(kJpeg);
    const auto  with = [&](std::uint8_t marker, const Bytes& content) {
        Bytes extra = {0xFF, marker, 0, static_cast<std::uint8_t>(content.size() + 2)};
        extra.insert(extra.end(), content.begin(), content.end());
        Bytes bytes = jpeg;
        bytes.insert(bytes.begin() + 2, extra.begin(), extra.end());
        return bytes;
    };
    Bytes trailing = jpeg, huge = jpeg, large = jpeg;
    trailing.push_back(0);
    huge[4] = 0xFF;
    large.insert(large.end() - 2, (1u << 20) + 1 - jpeg.size(), 0);
    const struct {
        const char* mName;
        Bytes       mBytes;
        bool        mPlain;
    } kCases[] = {
        {"a picture", jpeg, true},
        {"a restart interval", with(0xDD, {0, 0}), true},
        {"a camera's notes", with(0xE1, {'E', 'x', 'i', 'f', 0, 0}), false},
        {"a profile", with(0xE2, {1, 2}), false},
        {"a comment", with(0xFE, {'a'}), false},
        {"a drawing program's colours", with(0xEE, {'A', 'd', 'o', 'b', 'e'}), false},
        {"something behind it", trailing, false},
        {"a segment beyond the end", huge, false},
        {"more than 1 MiB", large, false},
        {"png", kRgbaPng, false},
        {"marks alone", {0xFF, 0xD8, 0xFF, 0xD9}, false},
    };
    for (const auto& [name, bytes, plain] : kCases)
        EXPECT_EQ(platform::IsPlainJpeg(bytes.data(), bytes.size()), plain) << name;
    for (std::size_t i = 0; i < jpeg.size(); ++i)
        EXPECT_FALSE(platform::IsPlainJpeg(jpeg.data(), i)) << "cut at " << i;
}

/// What the tool writes of a bitmap.
bool WritePng(const CBitmap& bitmap, std::uint32_t maxSide, const std::filesystem::path& path,
              unsigned* error) {
    const Bytes png = platform::EncodeAsPng(platform::ScaleToFit(bitmap.Pixels(), maxSide));
    return platform::WriteWholeFile(Utf8(path).c_str(), png, error);
}

TEST_F(Pictures, PngFilesReadBackAsWritten) {
    const auto  path       = mFolder / u8"\u00fcber \u4e2d.png";
    const Bytes pictures[] = {FromHex(kGif), FromHex(kBmp), kRgbaPng, FromHex(kJpeg)};
    unsigned    error      = 0;
    for (const Bytes& picture : pictures) {  // each replaces the one before
        const CBitmap bitmap(picture);
        ASSERT_TRUE(WritePng(bitmap, 0, path, &error));
        const Bytes   file   = ReadFile(path);
        const CPixels before = bitmap.Pixels(), after = CBitmap(file).Pixels();
        EXPECT_EQ(after.mWidth, before.mWidth);
        EXPECT_EQ(after.mRgb, before.mRgb);
        EXPECT_EQ(file[25], kRgb) << "no alpha channel in the file";
        CPixels straight;
        EXPECT_TRUE(platform::DecodeImage(file.data(), file.size(), &straight));
        EXPECT_EQ(straight.mRgb, before.mRgb);
    }
    const CBitmap bitmap(FromHex(kJpeg));
    ASSERT_TRUE(WritePng(bitmap, 4, path, &error));
    const CPixels small = CBitmap(ReadFile(path)).Pixels();
    EXPECT_EQ(small.mWidth, 4u);
    EXPECT_EQ(small.mHeight, 2u);
    EXPECT_EQ(small.mRgb, platform::ScaleToFit(bitmap.Pixels(), 4).mRgb);
}

TEST_F(Pictures, EncodedPicturesOfAnyShapeDecode) {
    // Below, at and above what one block of the coded data takes, with rows longer than that too.
    for (const auto& [width, height] :
         {std::pair{1u, 1u}, {21844u, 1u}, {21845u, 1u}, {21846u, 2u}, {1u, 16384u}, {300u, 301u}}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        CPixels picture{width, height, Bytes(std::size_t{3} * width * height)};
        for (std::size_t i = 0; i < picture.mRgb.size(); ++i)
            picture.mRgb[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
        const Bytes png = platform::EncodeAsPng(picture);
        EXPECT_TRUE(platform::IsPlainPng(png.data(), png.size()));
        const CPixels decoded = CBitmap(png).Pixels();
        EXPECT_EQ(decoded.mWidth, width);
        EXPECT_TRUE(decoded.mRgb == picture.mRgb);
    }
}

TEST_F(Pictures, SmallFilesOfPicturesShowThem) {
    CPixels flat{200, 150, Bytes(std::size_t{3} * 200 * 150, 77)}, smooth = flat, odd{3, 5, Bytes(45, 200)};
    for (std::size_t i = 0; i < smooth.mRgb.size(); ++i) {
        const std::size_t x = i / 3 % 200, y = i / 600;
        smooth.mRgb[i] =
            static_cast<std::uint8_t>(90 + 60 * std::sin(0.05 * static_cast<double>(x + (1 + i % 3) * y)) +
                                      static_cast<double>((x * 31 + y * 17) % 7));
    }
    const struct {
        CPixels     mPicture;
        std::size_t mMostBytes;
        bool        mIsExact;
    } kCases[] = {{flat, 1000, true}, {smooth, 20000, false}, {odd, 200, true}};
    for (const auto& [picture, most, exact] : kCases) {
        SCOPED_TRACE(picture.mWidth);
        const Bytes small = platform::EncodeSmall(picture);
        EXPECT_LE(small.size(), most);
        EXPECT_EQ(platform::IsPlainPng(small.data(), small.size()), exact);
        EXPECT_EQ(platform::IsPlainJpeg(small.data(), small.size()), !exact);
        const CPixels decoded = CBitmap(small).Pixels();
        ASSERT_EQ(decoded.mWidth, picture.mWidth);
        ASSERT_EQ(decoded.mHeight, picture.mHeight);
        ExpectNear(decoded, picture.mRgb, exact ? 0 : 24);
    }
}

TEST_F(Pictures, AFileThatCannotBeWrittenIsReported) {
    const CBitmap bitmap(kRgbaPng);
    for (const auto& path : {mFolder / "missing" / "a.png", mFolder}) {
        unsigned error = 0;
        EXPECT_FALSE(WritePng(bitmap, 0, path, &error));
        EXPECT_NE(error, 0u);
    }
    EXPECT_TRUE(std::filesystem::is_directory(mFolder));
    EXPECT_TRUE(std::filesystem::is_empty(mFolder));
}

#ifndef _WIN32
TEST_F(Pictures, AFileThatCannotBeWrittenWholeIsRemoved) {
    const CBitmap bitmap(kRgbaPng);
    unsigned      error = 0;
    EXPECT_FALSE(WritePng(bitmap, 0, "/dev/full", &error));
    EXPECT_EQ(error, static_cast<unsigned>(ENOSPC));
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));

    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    rlimit small   = old;
    small.rlim_cur = 20;  // bytes: less than any PNG
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const bool written = WritePng(bitmap, 0, mFolder / "cut.png", &error);
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_FALSE(written);
    EXPECT_EQ(error, static_cast<unsigned>(EFBIG));
    EXPECT_TRUE(std::filesystem::is_empty(mFolder));
}
#endif

}  // namespace
