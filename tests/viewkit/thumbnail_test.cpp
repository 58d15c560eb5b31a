#include "viewkit/preview_support.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace preview_support;
using namespace ProjectPreviewHelper;

std::string Bytes(const std::vector<std::uint8_t>& bytes) {
    return DumpList(bytes, " ", [](std::uint8_t byte) {
        char text[4];
        std::snprintf(text, sizeof text, "%02X", byte);
        return std::string(text);
    });
}

struct CRow {
    const wchar_t* mText;
    const char*    mBytes;
};

TEST(ThumbnailDecoder, Base64) {
    constexpr CRow kRows[] = {
        {L"TWFu", "4D 61 6E"},
        {L"TWE=", "4D 61"},
        {L"TQ==", "4D"},
        {L"+/+/", "FB FF BF"},
        {L" TW\tF\r\nu ", "4D 61 6E"},
        {L"TW\xA0"
         L"Fu",
         "4D 61 6E"},
        {L"TWFuTWE=", "4D 61 6E 4D 61"},
        {L"", ""},
        {L" \n", ""},
        {L"====", ""},
        // a lone character counts for a byte, a "=" inside for zero bits, anything else for -1
        {L"T", "4C"},
        {L"TWFuT", "4D 61 6E 4C"},
        {L"TW=u", "4D 60"},
        {L"T!Fu", "4B F1 6E"},
        {L"!AAA", "FC 00 00"},
        {L"T\xE9"
         L"Fu",
         "4B F1 6E"},
        {L"T\xFFFF"
         L"Fu",
         "4B F1 6E"},
    };
    for (const CRow& row : kRows)
        EXPECT_EQ(Bytes(DecodeThumbnailText(AString(row.mText), true)), row.mBytes) << Escaped(row.mText);
}

/// The decoder to the letter, a character at a time.
std::vector<std::uint8_t> DecodeStepByStep(const std::wstring& text) {
    constexpr std::wstring_view kDigits = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::size_t                 counted = 0;
    for (const wchar_t ch : text)
        counted += ch != L'=' && !platform::IsSpace(ch) ? 1 : 0;
    const std::size_t         size = counted / 4 * 3 + (counted % 4 == 3 ? 2 : counted % 4 != 0 ? 1 : 0);
    std::vector<std::uint8_t> out;
    for (std::size_t p = 0; out.size() < size;) {
        std::int32_t value = 0;
        for (int digit = 0; digit < 4; ++digit) {
            value <<= 6;
            while (p < text.size() && platform::IsSpace(text[p]))
                ++p;
            if (p == text.size()) continue;
            const std::size_t at = kDigits.find(text[p]);
            value += text[p] == L'=' ? 0 : at == kDigits.npos ? -1 : static_cast<std::int32_t>(at);
            ++p;
        }
        for (const int shift : {16, 8, 0})
            out.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    out.resize(size);
    return out;
}

TEST(ThumbnailDecoder, DecodesAsTheStepsDo) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (wchar_t odd = 0; odd < 0x180; ++odd) {  // each character, at any place among the digits
        std::wstring text(random() % 200 + 1, L'A');
        for (wchar_t& ch : text)
            ch = L"QRaz09+/"[random() % 8];
        for (auto count = random() % 4 + 1; count != 0; --count)
            text[random() % text.size()] = odd;
        ASSERT_EQ(Bytes(DecodeThumbnailText(AString(text), true)), Bytes(DecodeStepByStep(text)))
            << Escaped(text);
    }
}

TEST(ThumbnailDecoder, Hexadecimal) {
    constexpr CRow kRows[] = {
        {L"0aFF", "0A FF"}, {L"", ""}, {L"zZ!0", "53 10"}, {L"0\xFF", "CF"}, {L"0 ", "F0"},
    };
    for (const CRow& row : kRows)
        EXPECT_EQ(Bytes(DecodeThumbnailText(AString(row.mText), false)), row.mBytes) << Escaped(row.mText);
}

TEST(ThumbnailDecoder, WritesNoMoreThanItMay) {
    for (std::size_t size = 0; size <= 7; ++size) {
        std::vector<std::uint8_t> out(8, 0xEE);
        EXPECT_EQ(DecodeBase64(AString(L"TWFuTWFu"), size, out.data()), 0u);
        for (std::size_t i = 0; i < out.size(); ++i)
            EXPECT_EQ(out[i], i < std::min<std::size_t>(size, 6) ? "ManMan"[i] : 0xEE) << size;
        out.assign(8, 0xEE);
        EXPECT_EQ(DecodeHex(AString(L"01020304"), size, out.data()), std::min<std::size_t>(size, 4));
        for (std::size_t i = 0; i < out.size(); ++i)
            EXPECT_EQ(out[i], i < std::min<std::size_t>(size, 4) ? i + 1 : 0xEE) << size;
    }
    std::uint8_t untouched = 0xEE;
    EXPECT_EQ(DecodeHex(AString(L"0aF"), 0, nullptr), 1u);
    EXPECT_EQ(DecodeHex(AString(L"0aF"), 1, &untouched), 0u);  // odd
    EXPECT_EQ(untouched, 0xEE);
}

/// Three pixels: red, half-transparent green, and one that is wholly transparent.
constexpr const wchar_t* kPng =
    L"iVBORw0KGgoAAAANSUhEUgAAAAMAAAABCAYAAAAb4BS0AAAAE0lEQVR42mP4z8DwHwgbuETkGAAfEQO6"
    L"Q1i/GgAAAABJRU5ErkJggg==";

std::string Pixels(platform::NativeBitmap bitmap) {
    if (bitmap == nullptr) return "none";
    platform::CPixels pixels;
    EXPECT_TRUE(platform::GetBitmapPixels(bitmap, &pixels));
    platform::DestroyBitmap(bitmap);
    return std::to_string(pixels.mWidth) + "x" + std::to_string(pixels.mHeight) +
           (pixels.mRgb.size() > 9 ? "" : ": " + Bytes(pixels.mRgb));
}

TEST(ThumbnailBitmap, IsMadeOfEitherText) {
    CAssertions  assertions;
    std::wstring hex;
    for (const std::uint8_t byte : DecodeThumbnailText(AString(kPng), true)) {
        hex += L"0123456789abcdef"[byte >> 4];
        hex += L"0123456789ABCDEF"[byte & 15];
    }
    EXPECT_EQ(Pixels(CreateBitmapFromImageText(AString(kPng), true)), "3x1: FF 00 00 00 80 00 00 00 00");
    EXPECT_EQ(Pixels(CreateBitmapFromImageText(AString(hex), false)), "3x1: FF 00 00 00 80 00 00 00 00");
    for (const wchar_t* text : {L"", L"  ", L"=", L"TWFu", L"0aF"})
        for (const bool isBase64 : {false, true})
            EXPECT_EQ(Pixels(CreateBitmapFromImageText(AString(text), isBase64)), "none") << Escaped(text);
    EXPECT_EQ(Pixels(CreateBitmapFromImageText(AString(hex + L"0"), false)), "none");
    EXPECT_EQ(assertions.Take(), "");
}

TEST(ThumbnailBitmap, OfProjects) {
    CProject          project;
    const std::string png = AString(kPng).ToNarrow();
    EXPECT_EQ(Pixels(GetProjectThumbnail(project.WritePreview("Thumbnail64='" + png + "'"))),
              "3x1: FF 00 00 00 80 00 00 00 00");
    EXPECT_EQ(Pixels(GetProjectThumbnail(project.WritePreview("Thumbnail='" + png + "'"))), "none");
    EXPECT_EQ(Pixels(GetProjectThumbnail(project.Write("x"))), "none");
    const struct {
        const char* mFile;
        const char* mSize;
    } kSamples[] = {
        {"array_steering", "256x192"}, {"horn_feed", "256x192"},
        {"bandpass", "256x192"},       {"coil", "64x48"},
        {"radome_utf8", "192x192"},    {"new_project", "none"},
        {"no_preview", "none"},        {"not_a_project", "none"},
    };
    for (const auto& sample : kSamples)
        EXPECT_EQ(
            Pixels(GetProjectThumbnail(AString((TARVEX_SAMPLES "/"s + sample.mFile + ".tarvex").c_str()))),
            sample.mSize)
            << sample.mFile;
}

}  // namespace
