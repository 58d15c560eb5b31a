#include "tessel/platform/test_support.h"
#include "tessel/strings/astringwchar.h"
#include "tessel/strings/wide_scratch.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(AStringConversion, GoesThroughEveryEncoding) {
    struct CRow {
        AStringEncoding mEncoding;
        const char*     mBytes;
        const wchar_t*  mUnits;
    };
    constexpr CRow kRows[] = {
        {kAnsiEncoding, "plain", L"plain"},
        {kUtf8Encoding, "\xE2\x82\xAC\xC3\xA9", L"\x20AC\x00E9"},
        {kOemEncoding, "\x82", L"\x00E9"},
        {kCp1252Encoding, "\x80\xE9", L"\x20AC\x00E9"},
        {kCp932Encoding, "\x93\xFA\x96\x7B", L"\x65E5\x672C"},
    };
    for (const CRow& row : kRows) {
        const AString text(row.mBytes, row.mEncoding);
        EXPECT_EQ(text, row.mUnits) << row.mBytes;
        EXPECT_EQ(text.ToNarrow(row.mEncoding), row.mBytes);
        EXPECT_EQ(text.NarrowSize(row.mEncoding), std::string(row.mBytes).size());
        EXPECT_EQ(AString::NarrowSize(row.mUnits, row.mEncoding), std::string(row.mBytes).size());
    }
    const AString pair("\xF0\x9F\x98\x80", kUtf8Encoding);
    EXPECT_EQ(pair.Str(), (std::wstring{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)}));
    EXPECT_EQ(pair.ToNarrow(kUtf8Encoding), "\xF0\x9F\x98\x80");
    EXPECT_EQ(AString(L"\x4E00", 1).ToNarrow(kCp1252Encoding), "?");
}

TEST(AStringConversion, MindsLengthsAndNuls) {
    EXPECT_EQ(AString("abc", kUtf8Encoding, 2), L"ab");
    EXPECT_EQ(AString("abc", kUtf8Encoding, 0), L"");
    EXPECT_EQ(AString(""), L"");
    EXPECT_EQ(AString("a\0b", kUtf8Encoding, 3), AString(L"a\0b", 3));
    EXPECT_EQ(AString("ab\0", kUtf8Encoding, 3), L"ab");  // one NUL at the end is taken for a terminator
    EXPECT_EQ(AString(L"a\0b", 3).ToNarrow(), std::string("a\0b", 3));
    EXPECT_EQ(AString(L"ab\0", 3).ToNarrow(), "ab");
    EXPECT_EQ(AString().ToNarrow(), "");
    EXPECT_EQ(AString().NarrowSize(), 0u);
    EXPECT_EQ(AString::NarrowSize(nullptr), 0u);
}

TEST(AStringConversion, KeepsTextsOfEverySize) {
    // "?" in narrow code pages may need more or less room than what it stands for.
    for (const std::size_t length : {1u, 2u, 3u, 4095u, 4096u, 4097u, 70000u}) {
        const AString text(std::wstring(length, L'\x20AC'));
        std::string   expected;
        for (std::size_t i = 0; i < length; ++i)
            expected += "\xE2\x82\xAC";
        ASSERT_EQ(text.ToNarrow(kUtf8Encoding), expected) << length;
        ASSERT_EQ(AString(expected.c_str(), kUtf8Encoding), text) << length;
        ASSERT_EQ(text.ToNarrow(kCp1252Encoding), std::string(length, '\x80')) << length;
    }
}

TEST(AStringScratch, IsKeptUntilItIsVeryLarge) {
    const std::string medium(100000, 'x');
    EXPECT_EQ(AString(medium.c_str(), kUtf8Encoding, 100000).Length(), 100000u);
    EXPECT_EQ(CWideScratch::KeptCapacity(), 100000u);
    EXPECT_EQ(AString("small").Length(), 5u);
    EXPECT_EQ(CWideScratch::KeptCapacity(), 100000u);

    const std::string large(600000, 'x');
    EXPECT_EQ(AString(large.c_str(), kUtf8Encoding, 600000).Length(), 600000u);
    EXPECT_EQ(CWideScratch::KeptCapacity(), 0u);
    EXPECT_EQ(AString(medium.c_str()).Length(), 100000u);  // by way of the size query
    EXPECT_EQ(CWideScratch::KeptCapacity(), 100001u);

    EXPECT_EQ(AString(large.c_str()).Length(), 600000u);
    const AString exact(large.c_str(), kUtf8Encoding, 0x80000);
    EXPECT_EQ(CWideScratch::KeptCapacity(), 0x80000u);
    const AString beyond(large.c_str(), kUtf8Encoding, 0x80001);
    EXPECT_EQ(CWideScratch::KeptCapacity(), 0u);
}

TEST(AStringScratch, BelongsToOneThread) {
    static std::size_t before = 1;
    static std::size_t after  = 1;
    const AString      here(std::string(5000, 'x').c_str());
    test_support::RunOnThread([] {
        before = CWideScratch::KeptCapacity();
        const AString there(std::string(7000, 'x').c_str(), kUtf8Encoding, 7000);
        after = CWideScratch::KeptCapacity();
    });
    EXPECT_EQ(before, 0u);
    EXPECT_EQ(after, 7000u);
    EXPECT_NE(CWideScratch::KeptCapacity(), 7000u);
}

TEST(AStringFormat, GivesTheWholeTextHoweverLong) {
    AString text;
    text.Format(L"%ls %d %hs%%", L"wide", -5, "narrow");
    EXPECT_EQ(text, L"wide -5 narrow%");
    text.Format(L"[%ls]", text.CStr());  // from itself
    EXPECT_EQ(text, L"[wide -5 narrow%]");
    text.Format(L"");
    EXPECT_TRUE(text.IsEmpty());
    for (const std::size_t length : {4094u, 4095u, 4096u, 4097u, 8192u, 100000u, 600000u}) {
        const std::wstring content(length, L'x');
        text.Format(L"%ls", content.c_str());
        ASSERT_TRUE(text.Str() == content) << length;
    }
    EXPECT_EQ(CWideScratch::KeptCapacity(), 0u);
}

TEST(AStringFormat, GivesUpOnAbsurdLengths) {
    AString text(L"before");
    text.Format(L"%*d", 2000000000, 1);
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(CWideScratch::KeptCapacity(), 0u);
}

TEST(ABuffer, GrowsOnlyWhenItMust) {
    ABuffer<char> buffer;
    EXPECT_EQ(buffer.Capacity(), 0u);
    buffer.SetLength(5);
    EXPECT_EQ(buffer.Length(), 0u);
    EXPECT_EQ(buffer.EnsureCapacity(0), 0u);
    EXPECT_EQ(buffer.EnsureCapacity(10), 10u);
    buffer[9] = 'x';
    buffer.SetLength(11);
    EXPECT_EQ(buffer.Length(), 10u);
    EXPECT_EQ(buffer.EnsureCapacity(5), 10u);
    EXPECT_EQ(buffer[9], 'x');
    EXPECT_EQ(buffer.EnsureCapacity(11), 11u);
    EXPECT_EQ(buffer.Length(), 0u);  // a fresh one
}

}  // namespace
