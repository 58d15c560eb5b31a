#include "tessel/streamio/number_text.h"

#include "tessel/streamio/token_streambuf.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>

namespace io {

namespace {

/// A number's characters as plain ones, in place unless they are many. False when one of them stands in
/// no number; "inf" and "nan" are none.
class CPlainNumber {
  public:
    explicit CPlainNumber(std::wstring_view text) {
        char* next = mFew.data();
        if (text.size() > mFew.size()) {
            mMany.resize(text.size());
            next = mMany.data();
        }
        mText = {next, text.size()};
        for (const wchar_t ch : text)
            *next++ = ch < 0x80 ? static_cast<char>(ch) : '?';
    }
    std::string_view View() const noexcept { return mText; }

  private:
    std::array<char, 64> mFew;
    std::string          mMany;
    std::string_view     mText;
};

bool IsDecimalCharacter(char ch) noexcept {
    return (ch >= '0' && ch <= '9') || ch == '.' || ch == 'e' || ch == 'E' || ch == '+' || ch == '-';
}

/// Whether a number that cannot be represented is too large (else it is too small): by the place of
/// its first significant digit and its exponent.
bool IsHuge(std::string_view number) {
    const std::size_t mark     = std::min(number.find_first_of("eE"), number.size());
    const auto        mantissa = number.substr(0, mark);
    const std::size_t point    = std::min(mantissa.find('.'), mantissa.size());
    const std::size_t first    = mantissa.find_first_of("123456789");
    if (first == mantissa.npos) return false;
    const auto magnitude = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);

    std::int64_t exponent = 0;
    if (mark < number.size()) {
        const char* begin = number.data() + mark + 1;
        if (*begin == '+') ++begin;
        const auto result = std::from_chars(begin, number.data() + number.size(), exponent);
        // Beyond any text's own length the sign decides; the sum below must not overflow.
        constexpr std::int64_t kDecisive = std::int64_t{1} << 62;
        if (result.ec == std::errc::result_out_of_range) return *begin != '-';
        exponent = std::clamp(exponent, -kDecisive, kDecisive);
    }
    return magnitude + exponent > 0;
}

constexpr double kTwoTo53 = 9007199254740992.0;

bool IsWhole(double value) noexcept {
    return value == std::trunc(value);
}

template <class... Arguments>
std::string ToChars(Arguments... arguments) {
    std::array<char, 400> buffer;  // room for the longest double without exponent
    const auto            result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), arguments...);
    return result.ec == std::errc() ? std::string(buffer.data(), result.ptr) : std::string();
}

/// The shortest text that reads back to the same number; without exponent where that is exact.
template <class Float>
std::string Shortest(Float value) {
    const bool whole = IsWhole(value) && std::fabs(value) < kTwoTo53;
    return whole ? ToChars(value, std::chars_format::fixed) : ToChars(value);
}

template <class Float>
std::string Digits(Float value, int precision, std::ios_base::fmtflags flags) {
    constexpr int kMaxPrecision = 60;  // beyond this a double has no digits
    const auto    notation      = flags & std::ios_base::floatfield;
    const auto    chars         = notation == std::ios_base::fixed        ? std::chars_format::fixed
                                  : notation == std::ios_base::scientific ? std::chars_format::scientific
                                                                          : std::chars_format::general;
    if (precision >= 0) return ToChars(value, chars, std::min(precision, kMaxPrecision));
    return notation == std::ios_base::fmtflags{} ? Shortest(value) : ToChars(value, chars);
}

template <class Float>
std::wstring Format(Float value, int precision, const CNumberFormat& format) {
    std::string digits = Digits(value, precision < 0 ? format.mPrecision : precision, format.mFlags);
    if ((format.mFlags & std::ios_base::showpos) && !std::signbit(value)) digits.insert(digits.begin(), '+');
    if (format.mFlags & std::ios_base::uppercase) std::replace(digits.begin(), digits.end(), 'e', 'E');
    std::wstring text(digits.begin(), digits.end());
    const auto   width = static_cast<std::size_t>(std::max(format.mWidth, 0));
    if (text.size() >= width) return text;
    const std::wstring fill(width - text.size(), format.mFill);
    return format.mFlags & std::ios_base::left ? text + fill : fill + text;
}

}  // namespace

void CNumberText::Set(std::string_view digits) noexcept {
    mLength = digits.size();
    std::copy(digits.begin(), digits.end(), mUnits.begin());
}

namespace {

using Digits32 = std::array<char, 32>;

std::string_view Written(const Digits32& digits, std::to_chars_result result) {
    return {digits.data(), result.ptr};
}

/// A number of few decimals is a quotient of whole numbers, both exact, and its digits are those of the
/// first. No other number of at most 15 digits is the same double, so no shorter one is either. Empty
/// for any other number.
std::string_view FormatFewDecimals(double value, Digits32& digits) {
    constexpr double      kScale     = 1e6;
    constexpr std::size_t kDecimals  = 6;
    constexpr double      kMostExact = 1e15;
    // Smaller ones are shorter with an exponent.
    if (FLT_EVAL_METHOD != 0 || !(std::fabs(value) >= 1e-3 && std::fabs(value) < kMostExact / kScale))
        return {};
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): the next line sees whether it was right.
    const auto whole = static_cast<std::int64_t>(std::fabs(value) * kScale + 0.5);
    if (static_cast<double>(whole) / kScale != std::fabs(value)) return {};
    char* next = digits.data();
    if (value < 0) *next++ = '-';
    next              = std::to_chars(next, digits.data() + digits.size(), whole / 1000000).ptr;
    *next++           = '.';
    std::int64_t rest = whole % 1000000;
    for (std::size_t i = kDecimals; i-- != 0; rest /= 10)
        next[i] = static_cast<char>('0' + rest % 10);
    next += kDecimals;
    while (next[-1] == '0')
        --next;
    return {digits.data(), next};
}

}  // namespace

CNumberText FormatWhole(std::int64_t value) {
    CNumberText text;
    Digits32    digits;
    text.Set(Written(digits, std::to_chars(digits.data(), digits.data() + digits.size(), value)));
    return text;
}

CNumberText FormatExact(double value) {
    CNumberText text;
    Digits32    digits;
    const auto  to_chars = [&](auto... arguments) {
        return Written(digits, std::to_chars(digits.data(), digits.data() + digits.size(), arguments...));
    };
    if (std::isinf(value)) {
        text.Set(value > 0 ? "1e999" : "-1e999");
    } else if (IsWhole(value) && std::fabs(value) < kTwoTo53) {
        text.Set(value == 0 ? (std::signbit(value) ? "-0" : "0")
                            : to_chars(static_cast<std::int64_t>(value)));
    } else {
        const std::string_view few = FormatFewDecimals(value, digits);
        text.Set(few.empty() ? to_chars(value) : few);
    }
    return text;
}

std::wstring FormatNumber(double value, int precision, const CNumberFormat& format) {
    return Format(value, precision, format);
}

std::wstring FormatNumber(float value, int precision, const CNumberFormat& format) {
    return Format(value, precision, format);
}

std::wstring FormatHexadecimal(std::uint32_t value) {
    const std::string digits = ToChars(value, 16);
    return {digits.begin(), digits.end()};
}

bool IsHexadecimal(double value) noexcept {
    return IsWhole(value) && !std::signbit(value) && value <= std::numeric_limits<std::int32_t>::max();
}

bool ParseDecimal(std::wstring_view text, double* value) {
    const CPlainNumber     plain(text);
    const std::string_view narrow = plain.View();
    const char*            begin  = narrow.data();
    const char*            end    = begin + narrow.size();
    if (begin != end && *begin == '+') ++begin;
    // Only here would "+-5", "inf" and "nan" be taken for numbers.
    if (!std::all_of(narrow.begin(), narrow.end(), IsDecimalCharacter) ||
        (begin != narrow.data() && begin != end && *begin == '-'))
        return false;

    double     parsed = 0.0;
    const auto result = std::from_chars(begin, end, parsed, std::chars_format::general);
    if (result.ptr != end || result.ec == std::errc::invalid_argument) return false;
    if (result.ec == std::errc::result_out_of_range) {
        const bool negative = *begin == '-';
        parsed              = IsHuge({begin, end}) ? std::numeric_limits<double>::infinity() : 0.0;
        if (negative) parsed = -parsed;
    }
    *value = parsed;
    return true;
}

bool ParseHexadecimal(std::wstring_view digits, double* value) {
    const CPlainNumber     plain(digits);
    const std::string_view narrow = plain.View();
    if (narrow.starts_with('-')) return false;
    std::int32_t parsed = 0;
    const auto   result = std::from_chars(narrow.data(), narrow.data() + narrow.size(), parsed, 16);
    if (result.ec != std::errc() || result.ptr != narrow.data() + narrow.size()) return false;
    *value = parsed;
    return true;
}

}  // namespace io
