#pragma once

#include <string_view>

namespace io {

/// Reads a whole decimal number (sign, digits, point, exponent), the same in every locale.
/// A number beyond the range becomes infinite, one too small becomes 0.
/// @return false, `value` untouched, when the text is not wholly a number.
bool ParseDecimal(std::wstring_view text, double* value);

/// Reads a whole hexadecimal number without prefix. False when it is none, or does not fit in a
/// positive 32-bit integer.
bool ParseHexadecimal(std::wstring_view digits, double* value);

}  // namespace io
