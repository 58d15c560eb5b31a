#pragma once

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

/// The shortest text that reads back to the same number. Whole numbers below 2^53 have neither point nor
/// exponent; an infinity becomes a number too large to be anything else.
/// @pre  `value` is no NaN.
std::wstring FormatExact(double value);

/// A number in the form that was asked for. @param precision  significant digits (with `fixed` or
/// `scientific`: behind the point); below 0 the format's own counts.
std::wstring FormatNumber(double value, int precision, const CNumberFormat& format);
std::wstring FormatNumber(float value, int precision, const CNumberFormat& format);

/// Lower-case digits without prefix.
std::wstring FormatHexadecimal(std::uint32_t value);
/// Whether a number can be written in hexadecimal digits and read back.
bool IsHexadecimal(double value) noexcept;

}  // namespace io
