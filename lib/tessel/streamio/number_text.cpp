#include "tessel/streamio/number_text.h"

#include "tessel/streamio/token_streambuf.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>

namespace io {

namespace {

/// The digits as plain characters; anything beyond ASCII becomes a character that no number has.
std::string Narrow(std::wstring_view text) {
    std::string narrow(text.size(), '?');
    std::transform(text.begin(), text.end(), narrow.begin(),
                   [](wchar_t ch) { return ch < 0x80 ? static_cast<char>(ch) : '?'; });
    return narrow;
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

std::wstring FormatExact(double value) {
    if (std::isinf(value)) return value > 0 ? L"1e999" : L"-1e999";
    const std::string digits = Shortest(value);
    return {digits.begin(), digits.end()};
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
    const std::string narrow = Narrow(text);
    const char*       begin  = narrow.data();
    const char*       end    = begin + narrow.size();
    if (begin != end && *begin == '+') ++begin;
    // Only here would "+-5", "inf" and "nan" be taken for numbers.
    if (narrow.find_first_not_of("0123456789.eE+-") != narrow.npos ||
        (begin != narrow.data() && *begin == '-'))
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
    const std::string narrow = Narrow(digits);
    if (narrow.starts_with('-')) return false;
    std::int32_t parsed = 0;
    const auto   result = std::from_chars(narrow.data(), narrow.data() + narrow.size(), parsed, 16);
    if (result.ec != std::errc() || result.ptr != narrow.data() + narrow.size()) return false;
    *value = parsed;
    return true;
}

}  // namespace io
