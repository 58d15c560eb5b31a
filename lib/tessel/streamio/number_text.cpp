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

namespace {

// Eight digits at a time and without a loop, so that their number is nothing that a processor has to guess.

constexpr std::size_t   kStep      = 8;
constexpr std::uint64_t kStepPower = kPowersOfTen[kStep];

/// The digits of a number below 10^8, one in each byte, the first in the lowest.
inline std::uint64_t SplitDigits(std::uint64_t value) noexcept {
    // Two numbers of four digits, four of two, eight of one; each division is a multiplication.
    const std::uint64_t fours = value / 10000 | value % 10000 << 32;
    const std::uint64_t high  = (fours * 10486 >> 20) & 0x0000'007F'0000'007F;
    const std::uint64_t twos  = high | (fours - high * 100) << 16;
    const std::uint64_t tens  = (twos * 103 >> 10) & 0x000F'000F'000F'000F;
    return tens | (twos - tens * 10) << 8;
}

/// Writes eight units, whose digits these are.
inline void PutEight(std::uint64_t digits, wchar_t* out) noexcept {
    static_assert(std::endian::native == std::endian::little, "the lowest byte is the first");
    const auto characters = std::bit_cast<std::array<unsigned char, kStep>>(digits | 0x3030'3030'3030'3030);
    std::copy_n(characters.begin(), kStep, out);
}

/// Writes a number's digits, and may write some units more behind them.
wchar_t* PutWhole(std::uint64_t value, wchar_t* out) noexcept {
    if (value >= kStepPower) {
        out = PutWhole(value / kStepPower, out);
        PutEight(SplitDigits(value % kStepPower), out);
        return out + kStep;
    }
    const std::uint64_t digits = SplitDigits(value);
    // The last one is written also when it is 0.
    const auto zeros = static_cast<std::size_t>(std::countr_zero(digits | std::uint64_t{1} << 56)) / 8;
    PutEight(digits >> 8 * zeros, out);
    return out + kStep - zeros;
}

/// The same with a point before the last `decimals` digits, of which those that are 0 at the end are none.
/// @pre not all of them are 0.
template <std::size_t decimals>
wchar_t* PutWithPoint(std::uint64_t value, wchar_t* out) noexcept {
    constexpr std::uint64_t kUnit  = kPowersOfTen[decimals];
    constexpr std::size_t   kWhole = kStep - decimals;
    std::uint64_t           digits = 0;
    if (value < kStepPower) {
        digits = SplitDigits(value);
        // One before the point is written also when it is 0.
        const auto zeros =
            static_cast<std::size_t>(std::countr_zero(digits | std::uint64_t{1} << 8 * (kWhole - 1))) / 8;
        PutEight(digits >> 8 * zeros, out);
        out += kWhole - zeros;
    } else {
        out    = PutWhole(value / kUnit, out);
        digits = SplitDigits(value % kUnit);
    }
    *out++ = L'.';
    PutEight(digits >> 8 * kWhole, out);
    return out + decimals - static_cast<std::size_t>(std::countl_zero(digits)) / 8;
}

/// A number of so few decimals is a quotient of whole numbers, both exact, and its digits are those of the
/// first. No other number of at most 15 digits is the same double, so no shorter one is either. Null
/// for any other number. @pre it is positive.
template <std::size_t decimals>
wchar_t* PutDecimals(double value, wchar_t* out) noexcept {
    constexpr auto   kScale     = static_cast<double>(kPowersOfTen[decimals]);
    constexpr double kMostExact = 1e15;
    if (value >= kMostExact / kScale) return nullptr;
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): the next line sees whether it was right.
    const auto all = static_cast<std::int64_t>(value * kScale + 0.5);
    if (static_cast<double>(all) / kScale != value) return nullptr;
    return PutWithPoint<decimals>(static_cast<std::uint64_t>(all), out);
}

wchar_t* PutFewDecimals(double value, wchar_t* out) noexcept {
    constexpr double kLeast = 1e-3;  // smaller ones are shorter with an exponent
    if (FLT_EVAL_METHOD != 0 || !(value >= kLeast)) return nullptr;
    wchar_t* const end = PutDecimals<3>(value, out);
    return end != nullptr ? end : PutDecimals<6>(value, out);
}

constexpr std::size_t kMostPositiveUnits = 24;  // "2.2250738585072014e-308", in whole steps

wchar_t* PutAnyNumber(double value, wchar_t* out) noexcept {
    if (std::isinf(value)) {
        constexpr std::wstring_view kTooLarge = L"1e999";
        return std::copy(kTooLarge.begin(), kTooLarge.end(), out);
    }
    // As many characters are copied for each number, so that there is no end to guess.
    std::array<char, kMostPositiveUnits> digits{};
    const auto length = std::to_chars(digits.begin(), digits.end(), value).ptr - digits.begin();
    std::copy_n(digits.begin(), digits.size(), out);
    return out + length;
}

}  // namespace

wchar_t* PutExact(double value, wchar_t* out) noexcept {
    const double magnitude = std::fabs(value);
    *out                   = L'-';  // written over where it does not count: nothing to guess here either
    out += std::signbit(value) ? 1 : 0;
    if (!(magnitude < kTwoTo53)) return PutAnyNumber(magnitude, out);
    const auto whole = static_cast<std::int64_t>(magnitude);
    if (static_cast<double>(whole) == magnitude) return PutWhole(static_cast<std::uint64_t>(whole), out);
    wchar_t* const end = PutFewDecimals(magnitude, out);
    return end != nullptr ? end : PutAnyNumber(magnitude, out);
}

CNumberText FormatWhole(std::int64_t value) {
    CNumberText text;
    wchar_t*    next = text.mUnits.data();
    if (value < 0) *next++ = L'-';
    const auto bits = static_cast<std::uint64_t>(value);
    text.mLength = static_cast<std::size_t>(PutWhole(value < 0 ? 0 - bits : bits, next) - text.mUnits.data());
    return text;
}

CNumberText FormatExact(double value) {
    CNumberText text;
    text.mLength = static_cast<std::size_t>(PutExact(value, text.mUnits.data()) - text.mUnits.data());
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
