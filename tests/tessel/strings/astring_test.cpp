#include "tessel/baseutils/recorded_assertions.h"
#include "tessel/strings/astringwchar.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

TEST(AString, OwnsItsText) {
    AString       a(L"abc");
    const AString b = a;
    a += L"d";
    a += L'e';
    a += b;
    EXPECT_EQ(a, L"abcdeabc");
    EXPECT_EQ(b, L"abc");
    EXPECT_NE(a, b);
    a.Set(a.CStr() + 3, 2);  // a part of itself
    EXPECT_EQ(a, L"de");
    a.Set(a.CStr() + 1);
    EXPECT_EQ(a, L"e");
    const AString withNul(L"x\0y", 3);
    EXPECT_EQ(withNul.Length(), 3u);
    EXPECT_NE(withNul, L"x");
}

TEST(AString, IsAssignedLeniently) {
    struct CRow {
        const wchar_t* mText;
        int            mCount;
        const wchar_t* mResult;
    };
    constexpr CRow kRows[] = {
        {nullptr, 5, L""},   {nullptr, -1, L""},   {L"abc", 0, L""},      {L"abc", 2, L"ab"},
        {L"abc", 3, L"abc"}, {L"abc", -1, L"abc"}, {L"abc", -99, L"abc"},
    };
    for (const CRow& row : kRows) {
        AString text(L"before");
        text.Assign(row.mText, row.mCount);
        EXPECT_EQ(text, row.mResult) << row.mCount;
    }
}

TEST(AString, NullTextIsReportedAndEmpty) {
    CRecordedAssertions  assertions;
    const wchar_t* const wide   = nullptr;
    const char* const    narrow = nullptr;
    AString              assigned(L"before");
    EXPECT_TRUE(AString(wide).IsEmpty());
    EXPECT_TRUE(AString(wide, 0).IsEmpty());
    EXPECT_TRUE(AString(narrow).IsEmpty());
    assigned = wide;
    EXPECT_TRUE(assigned.IsEmpty());
    EXPECT_EQ(assertions.Take(), std::vector<std::string>(4, "a_string != 0"));
    assigned = L"before";
    assigned.Format(nullptr);
    EXPECT_TRUE(assigned.IsEmpty());
    EXPECT_EQ(assertions.Take(), std::vector<std::string>{"format != 0"});
}

TEST(AString, ComparesByUnit) {
    struct CRow {
        const wchar_t* mA;
        const wchar_t* mB;
        int            mExact;
        int            mNoCase;
    };
    constexpr CRow kRows[] = {
        {L"", L"", 0, 0},          {L"abc", L"abc", 0, 0},
        {L"abc", L"ABD", 1, -1},   {L"ab", L"AB", 1, 0},
        {L"ab", L"abc", -1, -1},   {L"abc", L"ab", 1, 1},
        {L"", L"a", -1, -1},       {L"[", L"A", 1, -1},  // folded to lower case: "[" is 91, "a" is 97
        {L"_", L"A", 1, -1},       {L"\x00E9", L"\x00C9", 1, 1},  // letters beyond ASCII keep their case
        {L"z", L"\x00E9", -1, -1}, {L"\xD83D", L"\xFFFD", -1, -1},
    };
    const auto sign = [](int value) { return (value > 0) - (value < 0); };
    for (const CRow& row : kRows) {
        const AString a(row.mA);
        const AString b(row.mB);
        EXPECT_EQ(sign(a.Compare(b)), row.mExact) << &row - kRows;
        EXPECT_EQ(sign(b.Compare(a)), -row.mExact) << &row - kRows;
        EXPECT_EQ(a.CompareNoCase(b), row.mNoCase) << &row - kRows;
        EXPECT_EQ(b.CompareNoCase(a), -row.mNoCase) << &row - kRows;
        EXPECT_EQ(a.CompareNoCase(a), 0);
    }
    // Only `Compare` looks behind a NUL.
    const AString one(L"a\0b", 3);
    const AString two(L"A\0c", 3);
    EXPECT_EQ(one.CompareNoCase(two), 0);
    EXPECT_NE(one.Compare(two), 0);
}

TEST(AString, ComparesAPart) {
    struct CRow {
        std::size_t    mPos, mCount;
        const wchar_t* mOther;
        int            mResult;
    };
    constexpr CRow kRows[] = {
        {0, 3, L"ABCxyz", 0}, {0, 4, L"ABCxyz", -1}, {2, 2, L"cd", 0},   {2, 2, L"c", 1}, {2, 1, L"c", 0},
        {4, 99, L"EF", 0},    {4, 99, L"EFG", -1},   {4, 99, L"E", 1},   {5, 1, L"", 1},  {6, 1, L"", 0},
        {6, 1, L"x", -1},     {99, 1, L"x", -1},     {0, 0, L"abc", -1}, {0, 0, L"", 0},
    };
    const AString text(L"abcdef");
    for (const CRow& row : kRows)
        EXPECT_EQ(text.CompareNoCase(row.mPos, row.mCount, row.mOther), row.mResult) << &row - kRows;
}

TEST(AString, ChangesTheCaseOfAsciiOnly) {
    AString text(L"aZ[`{@\x00E9\x00C9");
    EXPECT_EQ(text.Upper(), L"AZ[`{@\x00E9\x00C9");
    text.MakeLower();
    EXPECT_EQ(text, L"az[`{@\x00E9\x00C9");
    text.MakeUpper();
    EXPECT_EQ(text, L"AZ[`{@\x00E9\x00C9");
}

TEST(AString, IsSliced) {
    const AString            text(L"abcde");
    constexpr std::ptrdiff_t kMost = PTRDIFF_MAX;
    struct CRow {
        std::ptrdiff_t mCount;
        const wchar_t* mLeft;
        const wchar_t* mRight;
    };
    for (const CRow& row :
         {CRow{-1, L"", L""}, CRow{0, L"", L""}, CRow{2, L"ab", L"de"}, CRow{5, L"abcde", L"abcde"},
          CRow{6, L"abcde", L"abcde"}, CRow{kMost, L"abcde", L"abcde"}, CRow{PTRDIFF_MIN, L"", L""}}) {
        EXPECT_EQ(text.Left(row.mCount), row.mLeft) << row.mCount;
        EXPECT_EQ(text.Right(row.mCount), row.mRight) << row.mCount;
    }
    struct CMidRow {
        std::ptrdiff_t mPos, mCount;
        const wchar_t* mResult;
    };
    for (const CMidRow& row :
         {CMidRow{-2, 3, L"abc"}, CMidRow{0, 3, L"abc"}, CMidRow{3, 9, L"de"}, CMidRow{4, kMost, L"e"},
          CMidRow{5, 1, L""}, CMidRow{kMost, kMost, L""}, CMidRow{1, 0, L""}, CMidRow{1, -1, L""}})
        EXPECT_EQ(text.Mid(row.mPos, row.mCount), row.mResult) << row.mPos;
    EXPECT_EQ(text.Mid(-1), L"abcde");
    EXPECT_EQ(text.Mid(3), L"de");
    EXPECT_EQ(text.Mid(5), L"");
}

TEST(AString, IsTrimmed) {
    struct CRow {
        const wchar_t* mText;
        const wchar_t* mLeft;
        const wchar_t* mRight;
        const wchar_t* mBoth;
    };
    constexpr CRow kRows[] = {
        {L"", L"", L"", L""},
        {L" \t\r\n", L"", L"", L""},
        {L" \u00A0a b\u3000", L"a b\u3000", L" \u00A0a b", L"a b"},
        {L"a", L"a", L"a", L"a"},
        {L"\u0085a\u200B", L"\u0085a\u200B", L"\u0085a\u200B", L"\u0085a\u200B"},  // no white space
    };
    for (const CRow& row : kRows) {
        AString left(row.mText);
        AString right(row.mText);
        AString both(row.mText);
        left.TrimLeft();
        right.TrimRight();
        both.Trim();
        EXPECT_EQ(left, row.mLeft);
        EXPECT_EQ(right, row.mRight);
        EXPECT_EQ(both, row.mBoth);
    }
}

TEST(AString, KnowsIdentifiers) {
    for (const wchar_t* good : {L"_", L"_a1", L"a", L"Z9_", L"\x00E9t\x00E9"})
        EXPECT_TRUE(AString(good).IsIdentifier()) << AString(good).ToNarrow();
    for (const wchar_t* bad : {L"", L"1a", L"a b", L"a-b", L" a", L"a."})
        EXPECT_FALSE(AString(bad).IsIdentifier()) << AString(bad).ToNarrow();
    EXPECT_FALSE(AString(L"a\0b", 3).IsIdentifier());
}

}  // namespace
