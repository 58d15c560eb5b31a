#include "tessel/streamio/token_value.h"

#include <limits>

namespace io {

namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

bool IsBetween(const CToken& token, double low, double high) noexcept {
    return token.IsNumeric() && low <= token.Number() && token.Number() <= high;
}

template <class Integer>
bool GetInteger(const CToken& token, Integer& value) noexcept {
    using Limits = std::numeric_limits<Integer>;
    if (!IsBetween(token, static_cast<double>(Limits::min()), static_cast<double>(Limits::max())))
        return false;
    value = static_cast<Integer>(token.Number());
    return true;
}

}  // namespace

bool GetTokenValue(const CToken& token, bool& value) {
    if (!token.IsBoolean()) return false;
    value = token.Type() == ETokenType::True;
    return true;
}

bool GetTokenValue(const CToken& token, AString& value) {
    if (!token.IsText()) return false;
    value = token.String();
    return true;
}

// The upper bounds of the 64-bit integers are let through and wrap.

bool GetTokenValue(const CToken& token, std::uint64_t& value) {
    if (!IsBetween(token, 0.0, kTwoTo64)) return false;
    const double number = token.Number();
    if (number == kTwoTo64) {
        value = 0;
    } else if (number >= kTwoTo63) {
        value = static_cast<std::uint64_t>(number - kTwoTo63) | (std::uint64_t{1} << 63);
    } else {
        value = static_cast<std::uint64_t>(number);
    }
    return true;
}

bool GetTokenValue(const CToken& token, std::int64_t& value) {
    if (!IsBetween(token, -kTwoTo63, kTwoTo63)) return false;
    const double number = token.Number();
    value = number == kTwoTo63 ? std::numeric_limits<std::int64_t>::min() : static_cast<std::int64_t>(number);
    return true;
}

bool GetTokenValue(const CToken& token, std::uint32_t& value) {
    return GetInteger(token, value);
}
bool GetTokenValue(const CToken& token, std::int32_t& value) {
    return GetInteger(token, value);
}
bool GetTokenValue(const CToken& token, std::uint16_t& value) {
    return GetInteger(token, value);
}
bool GetTokenValue(const CToken& token, std::int16_t& value) {
    return GetInteger(token, value);
}

bool GetTokenValue(const CToken& token, float& value) {
    if (!token.IsNumeric()) return false;
    static_assert(std::numeric_limits<float>::is_iec559,
                  "numbers beyond single precision are infinite there");
    value = static_cast<float>(token.Number());
    return true;
}

bool GetTokenValue(const CToken& token, double& value) {
    if (!token.IsNumeric()) return false;
    value = token.Number();
    return true;
}

}  // namespace io
