#include "tessel/platform/platform.h"
#include "tessel/platform/test_support.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using test_support::kWindows;

constexpr unsigned kUtf8 = platform::kCodePageUtf8;

std::wstring Widen(unsigned codePage, std::string_view text) {
    unsigned     error = 0;
    std::wstring units(text.size() + 1, L'?');
    const int    count = platform::MultiByteToWide(codePage, text.data(), static_cast<int>(text.size()),
                                                   units.data(), static_cast<int>(units.size()), &error);
    EXPECT_EQ(error, 0u);
    units.resize(static_cast<std::size_t>(count));
    return units;
}

std::string Narrow(unsigned codePage, std::wstring_view text) {
    unsigned    error = 0;
    std::string bytes(4 * text.size() + 1, '?');
    const int   count = platform::WideToMultiByte(codePage, text.data(), static_cast<int>(text.size()),
                                                  bytes.data(), static_cast<int>(bytes.size()), &error);
    EXPECT_EQ(error, 0u);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

/// "\\xE9" and the like as text, for readable rows and messages.
template <typename TText>
std::string Hex(const TText& text) {
    std::string hex;
    char        unit[16];
    for (const auto ch : text) {
        std::snprintf(unit, sizeof unit, "%s%02X", hex.empty() ? "" : " ",
                      static_cast<unsigned>(ch) & (sizeof ch == 1 ? 0xFFu : 0xFFFFFFFFu));
        hex += unit;
    }
    return hex;
}

struct CPairRow {
    unsigned    mCodePage;
    const char* mBytes;
    const char* mUnits;
};

std::string BytesOf(const char* hex) {
    std::string bytes;
    for (char* end; *hex != 0; hex = end)
        bytes += static_cast<char>(std::strtoul(hex, &end, 16));
    return bytes;
}

std::wstring UnitsOf(const char* hex) {
    std::wstring units;
    for (char* end; *hex != 0; hex = end)
        units += static_cast<wchar_t>(std::strtoul(hex, &end, 16));
    return units;
}

TEST(Conversion, GoesBothWays) {
    constexpr CPairRow kRows[] = {
        // the ends of each length of UTF-8
        {kUtf8, "00", "00"},
        {kUtf8, "41 7F", "41 7F"},
        {kUtf8, "C2 80 DF BF", "80 7FF"},
        {kUtf8, "E0 A0 80 ED 9F BF EE 80 80 EF BF BF", "800 D7FF E000 FFFF"},
        {kUtf8, "F0 90 80 80 F4 8F BF BF", "D800 DC00 DBFF DFFF"},
        {kUtf8, "61 F0 9F 98 80 62", "61 D83D DE00 62"},
        // the system's own
        {platform::kCodePageAnsi, "41 09 7E", "41 09 7E"},
        {platform::kCodePageOem, "82 E1", "E9 DF"},
        {1252, "80 E9 FF 41", "20AC E9 FF 41"},
        {1252, "81 8D 8F 90 9D", "81 8D 8F 90 9D"},  // mean nothing, keep their values
        {932, "93 FA 96 7B 41 B1", "65E5 672C 41 FF71"},
    };
    for (const CPairRow& row : kRows) {
        SCOPED_TRACE(std::string(row.mBytes) + " in " + std::to_string(row.mCodePage));
        EXPECT_EQ(Hex(Widen(row.mCodePage, BytesOf(row.mBytes))), Hex(UnitsOf(row.mUnits)));
        EXPECT_EQ(Hex(Narrow(row.mCodePage, UnitsOf(row.mUnits))), Hex(BytesOf(row.mBytes)));
    }
}

TEST(Conversion, EveryCharacterComesBackFromUtf8) {
    for (std::uint32_t first = 0; first < 0x110000; first += 0x400) {
        std::wstring units;
        for (std::uint32_t ch = first; ch < first + 0x400; ++ch) {
            if (ch >= 0xD800 && ch <= 0xDFFF) continue;
            if (ch > 0xFFFF) units += static_cast<wchar_t>(0xD800 + ((ch - 0x10000) >> 10));
            units += static_cast<wchar_t>(ch > 0xFFFF ? 0xDC00 + (ch & 0x3FF) : ch);
        }
        if (!units.empty()) {
            ASSERT_TRUE(Widen(kUtf8, Narrow(kUtf8, units)) == units) << std::hex << first;
        }
    }
}

TEST(Conversion, NarrowsWhatTheCodePageLacks) {
    constexpr CPairRow kRows[] = {
        {kUtf8, "EF BF BD", "D800"},
        {kUtf8, "EF BF BD", "DFFF"},
        {kUtf8, "EF BF BD 41", "DBFF 41"},
        {kUtf8, "EF BF BD EF BF BD", "DC00 D800"},
        {kUtf8, "EF BF BD F0 90 80 80", "D800 D800 DC00"},
        {1252, "41 3F 42", "41 4E00 42"},
        {1252, "3F 3F", "D83D DE00"},
        {932, "3F", "A6B2"},
    };
    for (const CPairRow& row : kRows)
        EXPECT_EQ(Hex(Narrow(row.mCodePage, UnitsOf(row.mUnits))), Hex(BytesOf(row.mBytes))) << row.mUnits;
}

TEST(Conversion, TakesEachMalformedByteForItself) {
    constexpr CPairRow kRows[] = {
        {kUtf8, "80", "80"},
        {kUtf8, "41 C3", "41 C3"},
        {kUtf8, "C3 41", "C3 41"},
        {kUtf8, "C0 80", "C0 80"},
        {kUtf8, "E0 9F BF", "E0 9F BF"},
        {kUtf8, "ED A0 80", "ED A0 80"},
        {kUtf8, "F0 8F BF BF", "F0 8F BF BF"},
        {kUtf8, "F4 90 80 80", "F4 90 80 80"},
        {kUtf8, "F8 88 80 80 80 FE FF", "F8 88 80 80 80 FE FF"},
        {kUtf8, "E2 82 C3 A9", "E2 82 E9"},
        {platform::kCodePageAnsi, "41 E9 C3 A9", "41 DCE9 E9"},
    };
    for (const CPairRow& row : kRows) {
        const std::wstring units = Widen(row.mCodePage, BytesOf(row.mBytes));
        if (!kWindows) {
            EXPECT_EQ(Hex(units), Hex(UnitsOf(row.mUnits))) << row.mBytes;
        }
        EXPECT_FALSE(units.empty()) << row.mBytes;
    }
}

TEST(Conversion, CarriesEveryFileNameAsWideText) {
    if (kWindows) GTEST_SKIP() << "names are wide there";
    // What could go wrong stands at the end of a character: every pair of bytes behind each kind of lead.
    for (const std::string_view lead :
         {"", "a", "\xC3", "\xE2\x82", "\xED\xA0", "\xF0\x9F\x98", "\xF0\x9F\x98\x80"})
        for (int first = 0; first < 256; ++first)
            for (int second = 0; second < 256; ++second) {
                const std::string name =
                    std::string(lead) + static_cast<char>(first) + static_cast<char>(second);
                ASSERT_EQ(Narrow(platform::kCodePageAnsi, Widen(platform::kCodePageAnsi, name)), name)
                    << Hex(name);
            }
}

// Every capacity from "how much?" to more than enough, with a guard behind the end.
TEST(Conversion, SaysWhenTheBufferIsTooSmall) {
    const std::string  bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";  // 11 bytes
    const std::wstring units = UnitsOf("61 E9 20AC D83D DE00 7A");
    for (int capacity = 0; capacity <= 13; ++capacity) {
        SCOPED_TRACE(capacity);
        unsigned   error  = 7;
        const auto room   = static_cast<std::size_t>(capacity);
        const auto expect = [&](int count, int needed) {
            const bool fits = capacity == 0 || capacity >= needed;
            EXPECT_EQ(count, fits ? needed : 0);
            EXPECT_EQ(error, fits ? 0 : platform::kErrorInsufficientBuffer);
        };
        std::wstring wide(room + 1, L'#');
        expect(platform::MultiByteToWide(kUtf8, bytes.data(), 11, wide.data(), capacity, &error), 6);
        EXPECT_EQ(wide[room], L'#');
        expect(platform::MultiByteToWide(kUtf8, bytes.c_str(), -1, wide.data(), capacity, &error), 7);
        EXPECT_EQ(wide[room], L'#');
        std::string narrow(room + 1, '#');
        expect(platform::WideToMultiByte(kUtf8, units.data(), 6, narrow.data(), capacity, &error), 11);
        EXPECT_EQ(narrow[room], '#');
        expect(platform::WideToMultiByte(kUtf8, units.c_str(), -1, narrow.data(), capacity, &error), 12);
        EXPECT_EQ(narrow[room], '#');
    }
}

TEST(Conversion, RefusesWhatItCannotDo) {
    wchar_t  wide[8];
    char     narrow[8];
    unsigned error = 0;
    for (const unsigned codePage : {12345u, 77777u}) {
        EXPECT_EQ(platform::MultiByteToWide(codePage, "a", 1, wide, 8, &error), 0);
        EXPECT_EQ(error, platform::kErrorInvalidParameter);
        EXPECT_EQ(platform::WideToMultiByte(codePage, L"a", 1, narrow, 8, &error), 0);
        EXPECT_EQ(error, platform::kErrorInvalidParameter);
    }
    EXPECT_EQ(platform::MultiByteToWide(kUtf8, "a", 0, wide, 8, &error), 0);
    EXPECT_EQ(error, platform::kErrorInvalidParameter);
    EXPECT_EQ(platform::WideToMultiByte(kUtf8, nullptr, -1, narrow, 8, &error), 0);
    EXPECT_EQ(error, platform::kErrorInvalidParameter);
}

// Counts and FNV-1a sums of the answers for all units, as Wine 8's run time gives them.
TEST(Characters, AreClassedAlikeOnEveryPlatform) {
    struct CRow {
        const char* mName;
        bool (*mIs)(wchar_t) noexcept;
        int           mCount;
        std::uint64_t mSum;
    };
    constexpr CRow kRows[] = {
        {"IsAlpha", &platform::IsAlpha, 49027, 0xb072ee42927d8f0c},
        {"IsAlnum", &platform::IsAlnum, 49400, 0x8949203f98cc54fb},
        {"IsDigit", &platform::IsDigit, 373, 0xa34754c8eb1327fe},
        {"IsSpace", &platform::IsSpace, 24, 0x92344418441e3997},
        {"IsControl", &platform::IsControl, 107, 0x9bb2747a05b6e784},
    };
    for (const CRow& row : kRows) {
        int           count = 0;
        std::uint64_t sum   = 0xcbf29ce484222325;
        for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
            const bool is = row.mIs(static_cast<wchar_t>(unit));
            count += is;
            sum = (sum ^ is) * 0x100000001b3;
        }
        EXPECT_EQ(count, row.mCount) << row.mName;
        EXPECT_EQ(sum, row.mSum) << row.mName;
    }
}

TEST(Characters, OnlyAsciiLettersChangeCase) {
    for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
        const auto ch    = static_cast<wchar_t>(unit);
        const bool upper = unit >= 'A' && unit <= 'Z';
        const bool lower = unit >= 'a' && unit <= 'z';
        ASSERT_EQ(platform::ToLower(ch), static_cast<wchar_t>(upper ? unit + 32 : unit)) << unit;
        ASSERT_EQ(platform::ToUpper(ch), static_cast<wchar_t>(lower ? unit - 32 : unit)) << unit;
    }
}

TEST(ByteSize, IsCutToThreeDigits) {
    struct CRow {
        std::uint64_t mBytes;
        const char*   mText;
    };
    constexpr std::uint64_t kKilo = 1024, kMega = kKilo * kKilo, kGiga = kMega * kKilo, kTera = kGiga * kKilo;
    constexpr CRow          kRows[] = {
                 {0, "0 bytes"},
                 {1, "1 bytes"},
                 {1023, "1023 bytes"},
                 {1024, "1.00 KB"},
                 {10239, "9.99 KB"},
                 {10240, "10.0 KB"},
                 {65535, "63.9 KB"},
                 {102400, "100 KB"},
                 {1023999, "999 KB"},
                 {1024000, "0.97 MB"},
                 {1048575, "0.99 MB"},
                 {kMega, "1.00 MB"},
                 {1593835, "1.51 MB"},
                 {2147483648, "2.00 GB"},
                 {5 * kGiga - 1, "4.99 GB"},
                 {kTera, "1.00 TB"},
                 {1000 * kTera, "0.97 PB"},
                 {kTera * kKilo, "1.00 PB"},
                 {kTera * kMega, "1.00 EB"},
    };
    for (const CRow& row : kRows) {
        char text[32] = "";
        EXPECT_TRUE(platform::FormatByteSize(row.mBytes, text, sizeof text));
        EXPECT_STREQ(text, row.mText) << row.mBytes;
        const auto size = static_cast<unsigned>(std::string_view(row.mText).size() + 1);
        EXPECT_TRUE(platform::FormatByteSize(row.mBytes, text, size));
        EXPECT_FALSE(platform::FormatByteSize(row.mBytes, text, size - 1));
    }
}

}  // namespace
