#include "tessel/streamio/number_text.h"

#include "tessel/streamio/token_streambuf.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>

namespace io {

namespace {

/// A number's characters as plain ones, in place unless they are many.
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

constexpr std::ptrdiff_t kWholeDigits = 19;  // that many fit 64 bits

constexpr std::array<std::uint64_t, kWholeDigits + 1> PowersOfTen() noexcept {
    std::array<std::uint64_t, kWholeDigits + 1> powers{1};
    for (std::size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}
constexpr auto kPowersOfTen = PowersOfTen();

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

std::string_view Written(const CDigits& digits, std::to_chars_result result) {
    return {digits.data(), result.ptr};
}

/// Writes decimal digits backwards, at least `fewest`.
char* PutDigits(char* end, std::uint64_t value, int fewest = 1) noexcept {
    const char* const most = end - fewest;
    for (; value != 0; value /= 10)
        *--end = static_cast<char>('0' + value % 10);
    while (end > most)
        *--end = '0';
    return end;
}

std::string_view WithSign(CDigits& digits, char* first, bool negative) noexcept {
    if (negative) *--first = '-';
    return {first, digits.data() + digits.size()};
}

std::string_view FormatWhole(std::int64_t value, CDigits& digits) noexcept {
    const bool negative = value < 0;
    const auto magnitude =
        negative ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    return WithSign(digits, PutDigits(digits.data() + digits.size(), magnitude), negative);
}

/// A number of so few decimals is a quotient of whole numbers, both exact, and its digits are those of the
/// first. No other number of at most 15 digits is the same double, so no shorter one is either. Empty
/// for any other number.
template <int decimals>
std::string_view FormatDecimals(double value, CDigits& digits) noexcept {
    constexpr std::uint64_t kUnit      = kPowersOfTen[decimals];
    constexpr auto          kScale     = static_cast<double>(kUnit);
    constexpr double        kMostExact = 1e15;
    const double            magnitude  = std::fabs(value);
    if (magnitude >= kMostExact / kScale) return {};
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): the next line sees whether it was right.
    const auto all = static_cast<std::int64_t>(magnitude * kScale + 0.5);
    if (static_cast<double>(all) / kScale != magnitude) return {};
    std::uint64_t fraction = static_cast<std::uint64_t>(all) % kUnit;
    int           length   = decimals;
    for (; fraction % 10 == 0; fraction /= 10)
        --length;
    char* next = PutDigits(digits.data() + digits.size(), fraction, length);
    *--next    = '.';
    return WithSign(digits, PutDigits(next, static_cast<std::uint64_t>(all) / kUnit), value < 0);
}

std::string_view FormatFewDecimals(double value, CDigits& digits) noexcept {
    constexpr double kLeast = 1e-3;  // smaller ones are shorter with an exponent
    if (FLT_EVAL_METHOD != 0 || !(std::fabs(value) >= kLeast)) return {};
    const std::string_view few = FormatDecimals<3>(value, digits);
    return few.empty() ? FormatDecimals<6>(value, digits) : few;
}

}  // namespace

CNumberText FormatWhole(std::int64_t value) {
    CNumberText text;
    CDigits     digits;
    text.Set(FormatWhole(value, digits));
    return text;
}

std::string_view FormatExact(double value, CDigits& digits) {
    if (std::fabs(value) < kTwoTo53) {
        const auto whole = static_cast<std::int64_t>(value);
        if (static_cast<double>(whole) != value) {
            const std::string_view few = FormatFewDecimals(value, digits);
            if (!few.empty()) return few;
        } else if (whole != 0 || !std::signbit(value)) {
            return FormatWhole(whole, digits);
        } else {
            return "-0";
        }
    }
    if (std::isinf(value)) return value > 0 ? "1e999" : "-1e999";
    return Written(digits, std::to_chars(digits.data(), digits.data() + digits.size(), value));
}

CNumberText FormatExact(double value) {
    CNumberText text;
    CDigits     digits;
    text.Set(FormatExact(value, digits));
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

bool ParseDecimal(std::string_view text, double* value) {
    const char* begin = text.data();
    const char* end   = begin + text.size();
    if (begin != end && *begin == '+') ++begin;
    const char* const first = begin == text.data() && begin != end && *begin == '-' ? begin + 1 : begin;
    // Only here would "+-5", "inf" and "nan" be taken for numbers.
    if (first == end || !(*first == '.' || (*first >= '0' && *first <= '9'))) return false;

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

bool ParseDecimal(std::wstring_view text, double* value) {
    return ParseDecimal(CPlainNumber(text).View(), value);
}

namespace {

#ifdef __SIZEOF_INT128__
__extension__ using CWide = unsigned __int128;

/// The quotient of two whole numbers that are not 0, rounded once: by more bits than a double has, of which
/// the last tells whether anything is left.
double Divide(std::uint64_t a, std::uint64_t b) noexcept {
    const int     shiftA   = std::countl_zero(a);
    const int     shiftB   = std::countl_zero(b);
    const CWide   dividend = CWide{a << shiftA} << 63;
    const auto    divisor  = b << shiftB;
    const auto    quotient = static_cast<std::uint64_t>(dividend / divisor);
    const bool    rest     = CWide{quotient} * divisor != dividend;
    constexpr int kBias = 1023, kMantissa = 52;
    const auto    scale =
        std::bit_cast<double>(static_cast<std::uint64_t>(kBias + shiftB - shiftA - 63) << kMantissa);
    return static_cast<double>(quotient | (rest ? 1 : 0)) * scale;
}
#endif

}  // namespace

bool CDecimal::Get(double* value) const noexcept {
    if (IsExact()) {
        *value = Quotient();
        return true;
    }
#ifdef __SIZEOF_INT128__
    if (mCount <= kWholeDigits && mDigits != 0) {
        *value = Divide(mDigits, kPowersOfTen[static_cast<std::size_t>(mDecimals)]);
        return true;
    }
#endif
    return false;
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
