#include "tessel/streamio/number_text.h"

#include <algorithm>
#include <charconv>
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

}  // namespace

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
