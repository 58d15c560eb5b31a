#pragma once

#include <array>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace io {

struct CNumberFormat;

/// Reads a whole decimal number (sign, digits, point, exponent), the same in every locale.
/// A number beyond the range becomes infinite, one too small becomes 0.
/// @return false, `value` untouched, when the text is not wholly a number.
bool ParseDecimal(std::string_view text, double* value);
bool ParseDecimal(std::wstring_view text, double* value);

/// A decimal number without exponent, by its digits.
struct CDecimal {
    std::uint64_t  mDigits   = 0;  ///< what they come to without the point, unless they are too many
    std::ptrdiff_t mCount    = 0;  ///< of the digits, with zeros in front
    std::ptrdiff_t mDecimals = 0;  ///< of them, those behind the point

    /// Whether `Quotient` holds: digits and power of ten are exact then, so it is rounded once, where results
    /// are not kept in a wider format.
    bool IsExact() const noexcept {
        return mCount <= kExactDigits && (mDecimals == 0 || FLT_EVAL_METHOD == 0);
    }
    double Quotient() const noexcept {
        const auto whole = static_cast<double>(static_cast<std::int64_t>(mDigits));
        // In a wider format, where only numbers without decimals come, even a division by 1 might round.
        return FLT_EVAL_METHOD != 0 ? whole : whole / kPowers[mDecimals];
    }
    /// The number. False when it takes more than a division: `ParseDecimal` knows it.
    bool Get(double* value) const noexcept;

    static constexpr std::ptrdiff_t kExactDigits              = 15;  // that many fit a double's 53 bits
    static constexpr double         kPowers[kExactDigits + 1] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                                 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
};

/// Reads a whole hexadecimal number without prefix. False when it is none, or does not fit in a
/// positive 32-bit integer.
bool ParseHexadecimal(std::wstring_view digits, double* value);

/// Units that a number's shortest text takes at most.
inline constexpr std::size_t kMostNumberUnits = 32;
/// Writes the shortest text that reads back to the same number; see below. No zero follows it.
/// @param out  room for `kMostNumberUnits`, of which also those behind the text may be written to.
/// @return behind the last unit.
wchar_t* PutExact(double value, wchar_t* out) noexcept;

/// A number's characters, in place.
class CNumberText {
  public:
    std::wstring_view View() const noexcept { return {mUnits.data(), mLength}; }

  private:
    friend CNumberText FormatExact(double value);
    friend CNumberText FormatWhole(std::int64_t value);

    std::array<wchar_t, kMostNumberUnits> mUnits;
    std::size_t                           mLength = 0;
};

/// The shortest text that reads back to the same number. Whole numbers below 2^53 have neither point nor
/// exponent; an infinity becomes a number too large to be anything else.
/// @pre  `value` is no NaN.
CNumberText FormatExact(double value);
/// Decimal digits.
CNumberText FormatWhole(std::int64_t value);

/// A number in the form that was asked for. @param precision  significant digits (with `fixed` or
/// `scientific`: behind the point); below 0 the format's own counts.
std::wstring FormatNumber(double value, int precision, const CNumberFormat& format);
std::wstring FormatNumber(float value, int precision, const CNumberFormat& format);

/// Lower-case digits without prefix.
std::wstring FormatHexadecimal(std::uint32_t value);
/// Whether a number can be written in hexadecimal digits and read back.
bool IsHexadecimal(double value) noexcept;

}  // namespace io
