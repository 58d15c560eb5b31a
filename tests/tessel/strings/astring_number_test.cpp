#include "tessel/strings/astringwchar.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <string>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct CDoubleRow {
    const wchar_t* mText;
    double         mValue;
    const wchar_t* mRest;
};
constexpr CDoubleRow kDoubles[] = {
    {L"1", 1, L""},
    {L"  \t-2.5e3 mm", -2500, L" mm"},
    {L"\x00A0+.5", .5, L""},
    {L"5.", 5, L""},
    {L"1.2.3", 1.2, L".3"},
    {L"1e", 1, L"e"},
    {L"1e+", 1, L"e+"},
    {L"1e5x", 1e5, L"x"},
    {L"1,5", 1, L",5"},
    {L"3-4", 3, L"-4"},
    {L"0.1", 0.1, L""},
    {L"123456789012345678901234567890", 1.2345678901234568e29, L""},
    {L"4.9406564584124654e-324", std::numeric_limits<double>::denorm_min(), L""},
    {L"1.7976931348623157e308", std::numeric_limits<double>::max(), L""},
    // out of range is no error
    {L"1e999", kInfinity, L""},
    {L"-1e999", -kInfinity, L""},
    {L"1e-999", 0, L""},
    {L"1e99999999999999999999", kInfinity, L""},
    {L"1e-99999999999999999999", 0, L""},
    {L"0e99999999999999999999", 0, L""},
    {L"0.0000000000000000000000000000000000000001e340 x", 1e300, L" x"},
    // hexadecimal
    {L"0x10", 16, L""},
    {L"-0X1.8p1z", -3, L"z"},
    {L"0x.8", .5, L""},
    {L"0x", 0, L"x"},
    {L"0xg", 0, L"xg"},
    {L"0x.g", 0, L"x.g"},
    {L"0x1p", 1, L"p"},
    {L"0x1p+-2", 1, L"p+-2"},
    {L"0x1p99999", kInfinity, L""},
    {L"0x1p-99999", 0, L""},
    // words
    {L"inf", kInfinity, L""},
    {L"-Infinity!", -kInfinity, L"!"},
    {L"infinit", kInfinity, L"init"},
};

TEST(AStringNumber, ReadsALeadingDouble) {
    for (const CDoubleRow& row : kDoubles) {
        const AString text(row.mText);
        SCOPED_TRACE(text.ToNarrow());
        double  value = -1;
        AString rest(L"before");
        EXPECT_TRUE(text.ToDouble(value, rest));
        EXPECT_EQ(value, row.mValue);
        EXPECT_EQ(rest, row.mRest);

        AString number;
        EXPECT_TRUE(text.SplitNumber(number, rest));
        EXPECT_EQ(rest, row.mRest);
        number += rest;
        EXPECT_EQ(number, text);

        value = -1;
        EXPECT_EQ(text.IsDouble(value), rest.IsEmpty());
        if (!rest.IsEmpty()) {
            EXPECT_EQ(value, -1);
        }
    }
    double value = 0;
    for (const wchar_t* nan : {L"nan", L"-NaN", L"nan(12_x)"}) {
        EXPECT_TRUE(AString(nan).IsDouble(value));
        EXPECT_TRUE(std::isnan(value));
    }
    EXPECT_TRUE(AString(L"1 \t\n").IsDouble(value));
    AString same(L"12abc");
    EXPECT_TRUE(same.ToDouble(value, same));
    EXPECT_EQ(same, L"abc");
}

TEST(AStringNumber, RefusesWhatIsNoDouble) {
    for (const wchar_t* text :
         {L"", L" ", L".", L"e5", L"+", L"--1", L"+-1", L"- 1", L"abc", L"i", L"n", L"\x0661"}) {
        double  value = -1;
        AString rest(L"before");
        AString number(L"before");
        EXPECT_FALSE(AString(text).ToDouble(value, rest)) << AString(text).ToNarrow();
        EXPECT_FALSE(AString(text).IsDouble(value));
        EXPECT_FALSE(AString(text).SplitNumber(number, rest));
        EXPECT_EQ(value, -1);
        EXPECT_EQ(rest, L"before");
        EXPECT_EQ(number, L"before");
    }
}

TEST(AStringNumber, ReadsALeadingInteger) {
    constexpr std::int32_t kUntouched = 77;
    struct CRow {
        const wchar_t* mText;
        int            mBase;
        bool           mGood;
        std::int32_t   mValue;
        const wchar_t* mRest;
    };
    constexpr CRow kRows[] = {
        {L"12abc", 10, true, 12, L"abc"},
        {L" \x00A0-7 ", 10, true, -7, L" "},
        {L"+5", 10, true, 5, L""},
        {L"1e3", 10, true, 1, L"e3"},
        {L"2147483646", 10, true, 2147483646, L""},
        {L"-2147483647", 10, true, -2147483647, L""},
        {L"ff", 16, true, 255, L""},
        {L"0xFF", 16, true, 255, L""},
        {L"0x", 16, true, 0, L"x"},
        {L"0xFFg", 0, true, 255, L"g"},
        {L"017", 0, true, 15, L""},
        {L"09", 0, true, 0, L"9"},
        {L"17", 0, true, 17, L""},
        {L"zz!", 36, true, 1295, L"!"},
        {L"102", 2, true, 2, L"2"},
        // the limits stand for overflow
        {L"2147483647", 10, false, kUntouched, L"before"},
        {L"-2147483648", 10, false, kUntouched, L"before"},
        {L"4294967295", 10, false, kUntouched, L"before"},
        {L"99999999999999999999999999", 10, false, kUntouched, L"before"},
        {L"-99999999999999999999999999", 10, false, kUntouched, L"before"},
        {L"7fffffff", 16, false, kUntouched, L"before"},
        // no number
        {L"", 10, false, kUntouched, L"before"},
        {L"-", 10, false, kUntouched, L"before"},
        {L"--1", 10, false, kUntouched, L"before"},
        {L"x", 10, false, kUntouched, L"before"},
        {L"2", 2, false, kUntouched, L"before"},
        {L"1", 1, false, kUntouched, L"before"},
        {L"1", 37, false, kUntouched, L"before"},
        {L"1", -1, false, kUntouched, L"before"},
    };
    for (const CRow& row : kRows) {
        const AString text(row.mText);
        SCOPED_TRACE(text.ToNarrow());
        std::int32_t value = kUntouched;
        AString      rest(L"before");
        EXPECT_EQ(text.ToInt(value, rest, row.mBase), row.mGood);
        EXPECT_EQ(value, row.mValue);
        EXPECT_EQ(rest, row.mRest);
        AString trimmed(row.mRest);
        trimmed.Trim();
        std::int32_t whole = kUntouched;
        EXPECT_EQ(text.IsInt(whole, row.mBase), row.mGood && trimmed.IsEmpty());
        EXPECT_EQ(whole, trimmed.IsEmpty() ? row.mValue : kUntouched);
    }
}

TEST(AStringNumber, IgnoresTheLocaleOfTheProcess) {
    const char* comma = nullptr;
    for (const char* name : {"German", "de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8"})
        if (comma == nullptr) comma = std::setlocale(LC_ALL, name);
    if (comma == nullptr) GTEST_SKIP() << "no locale with a decimal comma here";
    double     value = 0;
    AString    rest;
    AString    text;
    const bool good = AString(L"1.5,5").ToDouble(value, rest);
    text.Format(L"%.2f %hs", 2.25, "x");
    std::setlocale(LC_ALL, "C");
    EXPECT_TRUE(good);
    EXPECT_EQ(value, 1.5);
    EXPECT_EQ(rest, L",5");
    EXPECT_EQ(text, L"2.25 x");
}

}  // namespace
