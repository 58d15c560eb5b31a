#pragma once

#include "tessel/streamio/token.h"

#include <cstdint>

namespace io {

/// A token's value as a type of the program's own. False, `value` untouched, when the token is of
/// another kind or its number outside the type's range; numbers are truncated toward zero.
bool GetTokenValue(const CToken& token, bool& value);
bool GetTokenValue(const CToken& token, AString& value);
bool GetTokenValue(const CToken& token, std::uint64_t& value);
bool GetTokenValue(const CToken& token, std::int64_t& value);
bool GetTokenValue(const CToken& token, std::uint32_t& value);
bool GetTokenValue(const CToken& token, std::int32_t& value);
bool GetTokenValue(const CToken& token, std::uint16_t& value);
bool GetTokenValue(const CToken& token, std::int16_t& value);
bool GetTokenValue(const CToken& token, float& value);
bool GetTokenValue(const CToken& token, double& value);

}  // namespace io
