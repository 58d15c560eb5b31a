// Numbers in AString. The C library's `wcstod` would follow the decimal separator of whatever locale
// the host has set, and its `wcstol` is as wide as `long`, so both are read here.

#include "tessel/strings/astringwchar.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

namespace {

constexpr std::int32_t kLeastInt   = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kLargestInt = std::numeric_limits<std::int32_t>::max();

/// The part of a text that has not been read; each step takes something off its front.
class CRest {
  public:
    explicit CRest(std::wstring_view text) : mText(text) {}

    std::wstring_view Text() const { return mText; }
    wchar_t           At(std::size_t pos) const { return pos < mText.size() ? mText[pos] : L'\0'; }
    void              Skip(std::size_t count) { mText.remove_prefix(count); }

    void SkipSpace() {
        while (!mText.empty() && platform::IsSpace(mText[0]))
            Skip(1);
    }

    /// Takes a sign; true for a minus.
    bool TakeSign() {
        const bool negative = At(0) == L'-';
        if (negative || At(0) == L'+') Skip(1);
        return negative;
    }

    /// The leading units that occur in a set of ASCII characters, not taken.
    std::string Run(std::string_view set) const {
        std::string run;
        for (const wchar_t unit : mText) {
            if (unit <= 0 || unit > 127 || set.find(static_cast<char>(unit)) == set.npos) break;
            run += static_cast<char>(unit);
        }
        return run;
    }

    /// Whether "0x" stands here with what `isDigit` accepts at once behind it.
    template <typename TIsDigit>
    bool HasHexPrefix(TIsDigit isDigit) const {
        return At(0) == L'0' && (At(1) == L'x' || At(1) == L'X') && isDigit(At(2));
    }

  private:
    std::wstring_view mText;
};

/// 0..35; 36 for what is no digit in any base.
int DigitValue(wchar_t unit) {
    if (unit >= L'0' && unit <= L'9') return static_cast<int>(unit - L'0');
    const wchar_t lower = AString::LowerChar(unit);
    return lower >= L'a' && lower <= L'z' ? static_cast<int>(lower - L'a') + 10 : 36;
}

// ---------------------------------------------------------------------------------------------
// Floating point

/// Tells the two ways apart in which a number can be out of range.
/// @param digits the number as read, without its sign and "0x"
bool IsTooLarge(std::string_view digits, bool hex) {
    const std::size_t mantissaEnd = std::min(digits.find_first_of(hex ? "pP" : "eE"), digits.size());
    const auto        mantissa    = digits.substr(0, mantissaEnd);
    const auto        point       = static_cast<long>(std::min(mantissa.find('.'), mantissa.size()));
    const auto        first = static_cast<long>(std::min(mantissa.find_first_not_of("0."), mantissa.size()));
    long              exponent = 0;
    if (mantissaEnd < digits.size()) {
        const char* at = digits.data() + mantissaEnd + 1;
        if (*at == '+') ++at;
        const bool negative = *at == '-';
        if (std::from_chars(at, digits.data() + digits.size(), exponent).ec != std::errc()) return !negative;
    }
    return (point - first) * (hex ? 4 : 1) + exponent > 0;
}

/// Cuts an exponent off that is none: the C++ library's reader takes "p+-7" for one.
void CutHexExponent(std::string& run) {
    const std::size_t mark = run.find_first_of("pP");
    if (mark == run.npos) return;
    const std::string_view behind = std::string_view(run).substr(mark + 1);
    const std::size_t      digit  = behind.starts_with('+') || behind.starts_with('-') ? 1 : 0;
    if (digit >= behind.size() || DigitValue(static_cast<wchar_t>(behind[digit])) > 9) run.resize(mark);
}

/// Takes a number as `wcstod` reads it. False (nothing of use taken) when there is none.
bool TakeDouble(CRest& rest, double& value) {
    rest.SkipSpace();
    const bool negative = rest.TakeSign();
    const auto isHex    = [](wchar_t unit) { return DigitValue(unit) < 16; };
    const bool hex      = rest.HasHexPrefix(isHex) ||
                     (rest.HasHexPrefix([](wchar_t unit) { return unit == L'.'; }) && isHex(rest.At(3)));
    if (hex) rest.Skip(2);
    const wchar_t first = rest.At(0);
    if (first == L'-') return false;  // of two signs
    const bool  word = AString::LowerChar(first) == L'i' || AString::LowerChar(first) == L'n';
    std::string run  = rest.Run(hex    ? "0123456789abcdefABCDEF.pP+-"
                                : word ? "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_()"
                                       : "0123456789.eE+-");
    if (hex) CutHexExponent(run);
    const char* const begin  = run.data();
    double            parsed = 0;
    const auto        result = std::from_chars(begin, begin + run.size(), parsed,
                                        hex ? std::chars_format::hex : std::chars_format::general);
    if (result.ec == std::errc::invalid_argument) return false;
    const auto length = static_cast<std::size_t>(result.ptr - begin);
    if (result.ec == std::errc::result_out_of_range)
        parsed = IsTooLarge({begin, length}, hex) ? std::numeric_limits<double>::infinity() : 0.0;
    value = negative ? -parsed : parsed;
    rest.Skip(length);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Integers

/// Takes a number as `wcstol` reads it; what does not fit becomes the nearest limit.
bool TakeInt(CRest& rest, int base, std::int32_t& value) {
    if (base < 0 || base == 1 || base > 36) return false;
    rest.SkipSpace();
    const bool negative = rest.TakeSign();
    const bool hexMark  = rest.HasHexPrefix([](wchar_t unit) { return DigitValue(unit) < 16; });
    if (base == 0) base = hexMark ? 16 : rest.At(0) == L'0' ? 8 : 10;
    if (base == 16 && hexMark) rest.Skip(2);
    if (DigitValue(rest.At(0)) >= base) return false;

    constexpr std::int64_t kEnough = std::int64_t{kLargestInt} + 1;
    std::int64_t           sum     = 0;
    for (; DigitValue(rest.At(0)) < base; rest.Skip(1))
        sum = std::min(sum * base + DigitValue(rest.At(0)), kEnough);
    value =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(negative ? -sum : sum, kLeastInt, kLargestInt));
    return true;
}

bool IsAllSpace(std::wstring_view text) {
    return std::all_of(text.begin(), text.end(), &platform::IsSpace);
}

bool IsOverflow(std::int32_t value) {
    return value == kLeastInt || value == kLargestInt;
}

}  // namespace

bool AString::ToDouble(double& value, AString& rest) const {
    CRest left(mText);
    if (!TakeDouble(left, value)) return false;
    rest = std::wstring(left.Text());
    return true;
}

bool AString::ToInt(std::int32_t& value, AString& rest, int base) const {
    CRest        left(mText);
    std::int32_t parsed = 0;
    if (!TakeInt(left, base, parsed) || IsOverflow(parsed)) return false;
    value = parsed;
    rest  = std::wstring(left.Text());
    return true;
}

bool AString::IsDouble(double& value) const {
    CRest  left(mText);
    double parsed = 0;
    if (!TakeDouble(left, parsed) || !IsAllSpace(left.Text())) return false;
    value = parsed;
    return true;
}

bool AString::IsInt(std::int32_t& value, int base) const {
    CRest        left(mText);
    std::int32_t parsed = 0;
    if (!TakeInt(left, base, parsed) || IsOverflow(parsed) || !IsAllSpace(left.Text())) return false;
    value = parsed;
    return true;
}

bool AString::SplitNumber(AString& number, AString& rest) const {
    CRest  left(mText);
    double ignored = 0;
    if (!TakeDouble(left, ignored)) return false;
    const std::size_t length = mText.size() - left.Text().size();
    std::wstring      head   = mText.substr(0, length);
    std::wstring      tail(left.Text());
    number = std::move(head);
    rest   = std::move(tail);
    return true;
}
