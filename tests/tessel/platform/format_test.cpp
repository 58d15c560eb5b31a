#include "tessel/platform/platform.h"
#include "tessel/platform/test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>

namespace {

int FormatInto(std::wstring& room, std::size_t capacity, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int count = platform::FormatWide(room.data(), capacity, format, arguments);
    va_end(arguments);
    return count;
}

/// The result, which must be the same with exactly as much room as it needs, and with every smaller
/// room a refusal that writes nothing behind the end.
template <typename... TArguments>
std::wstring Formatted(const wchar_t* format, TArguments... arguments) {
    std::wstring room(1000, L'#');
    const int    count = FormatInto(room, room.size(), format, arguments...);
    if (count < 0) return L"<refused>";
    const auto         length = static_cast<std::size_t>(count);
    const std::wstring result = room.substr(0, length);
    for (std::size_t capacity = 1; capacity <= length; ++capacity) {
        std::wstring tight(length + 1, L'#');
        EXPECT_EQ(FormatInto(tight, capacity, format, arguments...), capacity == length ? count : -1);
        EXPECT_EQ(tight.substr(capacity), std::wstring(length + 1 - capacity, L'#'));
        if (capacity == length) {
            EXPECT_EQ(tight.substr(0, length), result);
        }
    }
    return result;
}

TEST(FormatWide, WritesNumbersAndTexts) {
    EXPECT_EQ(Formatted(L""), L"");
    EXPECT_EQ(Formatted(L"100%%"), L"100%");
    EXPECT_EQ(Formatted(L"%d|%i|%u", -5, INT_MIN, UINT_MAX), L"-5|-2147483648|4294967295");
    EXPECT_EQ(Formatted(L"%8.8x|%x|%X|%#x|%o", 0x7Au, 0xBEEFu, 0xBEEFu, 255u, 8u),
              L"0000007a|beef|BEEF|0xff|10");
    EXPECT_EQ(Formatted(L"%5d|%-5d|%05d|%+d|% d|%5.3d", 42, 42, 42, 42, 42, 42),
              L"   42|42   |00042|+42| 42|  042");
    EXPECT_EQ(Formatted(L"%*d|%-*d|%*d", 4, 1, 4, 2, -4, 3), L"   1|2   |3   ");
    EXPECT_EQ(Formatted(L"%hd|%ld|%lld", 65537, 7L, 1LL << 40), L"1|7|1099511627776");
    EXPECT_EQ(Formatted(L"%.2f|%6.1f|%g|%.*f", 3.14159, 2.5, 0.5, 1, 9.75), L"3.14|   2.5|0.5|9.8");
    EXPECT_EQ(
        Formatted(L"%e|%.1E|%G|%.0f|%012.3f|%-8.1f|%+.1f", 12345.678, 1e-10, 1e300, 0.5, -1.5, 2.0, 3.0),
        L"1.234568e+04|1.0E-10|1E+300|0|-0000001.500|2.0     |+3.0");
    EXPECT_EQ(Formatted(L"%f|%06f|%F", HUGE_VAL, -HUGE_VAL, HUGE_VAL), L"inf|  -inf|INF");
    EXPECT_EQ(
        Formatted(L"%.0d|%.0d|%#o|%+.3d|%hhu|%zu|%p", 0, 7, 8, 5, 257, std::size_t{9}, nullptr).substr(0, 21),
        L"|7|010|+005|1|9|00000");
    EXPECT_EQ(Formatted(L"<%ls|%s|%hs|%S>", L"wide", L"wide", "narrow", "narrow"),
              L"<wide|wide|narrow|narrow>");
    EXPECT_EQ(Formatted(L"%6ls|%-6ls|%.2ls|%6hs|%-6hs|%.2hs", L"abc", L"abc", L"abc", "abc", "abc", "abc"),
              L"   abc|abc   |ab|   abc|abc   |ab");
    EXPECT_EQ(Formatted(L"%c%lc%3c", L'x', L'\x20AC', L'y'), L"x\x20AC  y");
    EXPECT_EQ(Formatted(L"%ls%hs", L"", ""), L"");
}

TEST(FormatWide, KeepsUnitsAsTheyAre) {
    const std::wstring units = {L'a', static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00),
                                static_cast<wchar_t>(0xDC00), static_cast<wchar_t>(0xFFFF)};
    EXPECT_EQ(Formatted(L"%ls", units.c_str()), units);
    EXPECT_EQ(Formatted(L"%.2ls", units.c_str()), units.substr(0, 2));
}

TEST(FormatWide, WidensNarrowArgumentsWhateverTheLocale) {
    if (test_support::kWindows) GTEST_SKIP() << "the ANSI code page's business";
    EXPECT_EQ(Formatted(L"%hs", "\xC3\xA9\xF0\x9F\x98\x80\xE9"),
              (std::wstring{wchar_t{0xE9}, wchar_t{0xD83D}, wchar_t{0xDE00}, wchar_t{0xDCE9}}));
}

TEST(FormatWide, RefusesWhatIsTooLong) {
    std::wstring room(100, L'#');
    EXPECT_LT(FormatInto(room, 100, L"%2000d", 1), 0);
    EXPECT_LT(FormatInto(room, 100, L"%.2000d", 1), 0);
    EXPECT_LT(FormatInto(room, 100, L"%2000ls", L"x"), 0);
    EXPECT_LT(FormatInto(room, 100, L"%ls", std::wstring(101, L'x').c_str()), 0);
    EXPECT_LT(FormatInto(room, 100, L"%f", 1e300), 0);
    EXPECT_EQ(FormatInto(room, 0, L""), 0);
    EXPECT_LT(FormatInto(room, 0, L"x"), 0);
    EXPECT_LT(FormatInto(room, 100, L"%.*d", INT_MAX, 1), 0);
    EXPECT_LT(FormatInto(room, 100, L"%*d", INT_MIN, 1), 0);
    EXPECT_EQ(Formatted(L"%800d", 7), std::wstring(799, L' ') + L"7");
}

}  // namespace
