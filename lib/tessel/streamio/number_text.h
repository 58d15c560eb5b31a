#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace io {

struct CNumberFormat;

/// Reads a whole decimal number (sign, digits, point, exponent), the same in every locale.
/// A number beyond the range becomes infinite, one too small becomes 0.
/// @return false, `value` untouched, when the text is not wholly a number.
bool ParseDecimal(std::wstring_view text, double* value);

/// Reads a whole hexadecimal number without prefix. False when it is none, or does not fit in a
/// positive 32-bit integer.
bool ParseHexadecimal(std::wstring_view digits, double* value);

/// A number's characters, in place.
class CNumberText {
  public:
    std::wstring_view View() const noexcept { return {mUnits.data(), mLength}; }

  private:
    friend CNumberText FormatExact(double value);
    friend CNumberText FormatWhole(std::int64_t value);

    void Set(std::string_view digits) noexcept;

    std::array<wchar_t, 32> mUnits;
    std::size_t             mLength = 0;
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
