#include "shellext/com_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace {

// Pictures with known pixels, 4 x 2 unless it is said otherwise.
constexpr char kPng[] =  // 8-bit RGBA
    "iVBORw0KGgoAAAANSUhEUgAAAAQAAAACCAYAAAB/qH1jAAAAIUlEQVR42mP4z8DwHwgbwBQQMHCJyP0/kWLkAGQDBRkYAAYf"
    "Ds+NKhzlAAAAAElFTkSuQmCC";
constexpr char kGif[] =  // four colours, the fourth one transparent
    "R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw==";
constexpr char kBmp[] =  // 24 bits
    "Qk1OAAAAAAAAADYAAAAoAAAABAAAAAIAAAABABgAAAAAABgAAAATCwAAEwsAAAAAAAAAAAAAHhQKMmTIAwIBgICAAAD/AP8A"
    "/wAA////";
constexpr char kJpeg[] =  // 8 x 8, all of it 0xC8283C
    "/9j/4AAQSkZJRgABAQAAAQABAAD/2wBDAAgGBgcGBQgHBwcJCQgKDBQNDAsLDBkSEw8UHRofHh0aHBwgJC4nICIsIxwcKDcp"
    "LDAxNDQ0Hyc5PTgyPC4zNDL/2wBDAQkJCQwLDBgNDRgyIRwhMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIyMjIy"
    "MjIyMjIyMjIyMjIyMjL/wAARCAAIAAgDASIAAhEBAxEB/8QAHwAAAQUBAQEBAQEAAAAAAAAAAAECAwQFBgcICQoL/8QAtRAA"
    "AgEDAwIEAwUFBAQAAAF9AQIDAAQRBRIhMUEGE1FhByJxFDKBkaEII0KxwRVS0fAkM2JyggkKFhcYGRolJicoKSo0NTY3ODk6"
    "Q0RFRkdISUpTVFVWV1hZWmNkZWZnaGlqc3R1dnd4eXqDhIWGh4iJipKTlJWWl5iZmqKjpKWmp6ipqrKztLW2t7i5usLDxMXG"
    "x8jJytLT1NXW19jZ2uHi4+Tl5ufo6erx8vP09fb3+Pn6/8QAHwEAAwEBAQEBAQEBAQAAAAAAAAECAwQFBgcICQoL/8QAtREA"
    "AgECBAQDBAcFBAQAAQJ3AAECAxEEBSExBhJBUQdhcRMiMoEIFEKRobHBCSMzUvAVYnLRChYkNOEl8RcYGRomJygpKjU2Nzg5"
    "OkNERUZHSElKU1RVVldYWVpjZGVmZ2hpanN0dXZ3eHl6goOEhYaHiImKkpOUlZaXmJmaoqOkpaanqKmqsrO0tba3uLm6wsPE"
    "xcbHyMnK0tPU1dbX2Nna4uPk5ebn6Onq8vP09fb3+Pn6/9oADAMBAAIRAxEAPwDmaKKK4D9FP//Z";
// The bitmap above in hexadecimal digits.
constexpr char kBmpHex[] =
    "424D4E0000000000000036000000280000000400000002000000010018000000000018000000130b"
    "0000130b000000000000000000001e140a3264c80302018080800000ff00ff00ff0000ffffff";

const std::vector<std::uint32_t> kPngOverBlack = {0xFF0000, 0x008000, 0x000000, 0xFFFFFF,
                                                  0x0A141E, 0x32190D, 0x808080, 0x000000};
const std::vector<std::uint32_t> kGifOverBlack = {0xFF0000, 0x00C864, 0x102040, 0x000000,
                                                  0x000000, 0x102040, 0x00C864, 0xFF0000};
const std::vector<std::uint32_t> kJpegPixels(64, 0xC8283C);
const std::vector<std::uint32_t> kBmpPixels = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF,
                                               0x0A141E, 0xC86432, 0x010203, 0x808080};

std::string Item(const std::string& key, const std::string& text) {
    return "\t" + key + "='" + text + "'\n";
}

/// The greatest difference of any colour of any pixel; 256 when the numbers of pixels differ.
int Difference(const std::vector<std::uint32_t>& a, const std::vector<std::uint32_t>& b) {
    if (a.size() != b.size()) return 256;
    int greatest = 0;
    for (std::size_t index = 0; index < a.size(); ++index)
        for (int shift = 0; shift < 24; shift += 8)
            greatest = std::max(greatest, std::abs(static_cast<int>(a[index] >> shift & 0xFF) -
                                                   static_cast<int>(b[index] >> shift & 0xFF)));
    return greatest;
}

TEST(Thumbnail, IsTheStoredPictureOverBlack) {
    const struct {
        const char*                mName;
        std::string                mItems;
        int                        mWidth;
        std::vector<std::uint32_t> mPixels;
        int                        mTolerance;
    } rows[] = {
        {"PNG with alpha", Item("Thumbnail64", kPng), 4, kPngOverBlack, 1},
        {"GIF with a transparent colour", Item("Thumbnail64", kGif), 4, kGifOverBlack, 0},
        {"BMP", Item("Thumbnail64", kBmp), 4, kBmpPixels, 0},
        {"JPEG", Item("Thumbnail64", kJpeg), 8, kJpegPixels, 6},
        {"hexadecimal digits beside an empty base64 item",
         Item("Thumbnail64", "") + Item("Thumbnail", kBmpHex), 4, kBmpPixels, 0},
        {"base64 before hexadecimal digits", Item("Thumbnail", kBmpHex) + Item("Thumbnail64", kPng), 4,
         kPngOverBlack, 1},
        {"behind designs", Design("A", "note") + Item("thumbnail64", kGif), 4, kGifOverBlack, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mName);
        const CTestFile file(Project(row.mItems));
        const CObject   object(file.Path());
        for (const LONG side : {96, 32}) {  // file managers ask twice, with different sizes
            wchar_t path[MAX_PATH];
            SIZE    size  = {side, side};
            DWORD   flags = IEIFLAG_OFFLINE, priority = 0;
            EXPECT_EQ(object.mImage->GetLocation(path, MAX_PATH, &priority, &size, 32, &flags), S_OK);
            HBITMAP bitmap = nullptr;
            ASSERT_EQ(object.mImage->Extract(&bitmap), S_OK);
            const CPixelRows got = PixelsOf(bitmap);
            EXPECT_EQ(got.mWidth, row.mWidth);
            EXPECT_EQ(got.mHeight, static_cast<int>(row.mPixels.size()) / row.mWidth);
            EXPECT_LE(Difference(got.mPixels, row.mPixels), row.mTolerance);
            EXPECT_TRUE(DeleteObject(bitmap)) << "the bitmap is ours alone";
        }
    }
}

TEST(Thumbnail, IsNoneWithoutAUsablePicture) {
    const std::string rows[] = {
        "",
        Item("Thumbnail64", ""),
        Item("Thumbnail", kBmpHex),  // digits count beside an empty base64 item only
        Item("Thumbnail64", "") + Item("Thumbnail", "424"),
        Item("Thumbnail64", "no picture at all"),
        Item("Thumbnail64", "TWFu"),
        Item("Thumbnail64", "A"),
        Item("Thumbnail64", "====") + Item("Thumbnail", kBmpHex),
        Item("Image64", kPng) + Item("Image", kBmpHex),
        Item("Thumbnail64", std::string(kPng).substr(4)),
        Item("Thumbnail64", std::string(100000, 'A')),
    };
    for (const std::string& items : rows) {
        SCOPED_TRACE(items.substr(0, 80));
        const CTestFile file(Project(items));
        const HBITMAP   untouched = reinterpret_cast<HBITMAP>(INT_PTR{42});
        HBITMAP         bitmap    = untouched;
        EXPECT_EQ(CObject(file.Path()).mImage->Extract(&bitmap), E_FAIL);
        EXPECT_EQ(bitmap, untouched);
    }
}

/// Cut short or with one wrong character, a picture decodes to something or to nothing.
TEST(Thumbnail, SurvivesDamagedPictures) {
    int failures = 0, pictures = 0;
    for (const std::string picture : {kPng, kGif, kJpeg}) {
        const std::size_t step = std::max<std::size_t>(1, picture.size() / 40);
        for (std::size_t place = 0; place < picture.size(); place += step)
            for (const bool cut : {true, false}) {
                std::string damaged = cut ? picture.substr(0, place) : picture;
                if (!cut) damaged[place] = damaged[place] == '8' ? 'r' : '8';
                const CTestFile file(Project(Item("Thumbnail64", damaged)));
                HBITMAP         bitmap = nullptr;
                const HRESULT   result = CObject(file.Path()).mImage->Extract(&bitmap);
                SCOPED_TRACE(damaged);
                ASSERT_TRUE(result == S_OK ? bitmap != nullptr : result == E_FAIL && bitmap == nullptr);
                ++(result == S_OK ? pictures : failures);
                if (bitmap != nullptr) DeleteObject(bitmap);
            }
    }
    EXPECT_GT(failures, 20);
    EXPECT_GT(pictures, 20);
}

}  // namespace
