#include "tessel/streamio/block_item.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/token_value.h"

#include <algorithm>

namespace io {

namespace {

const CToken kNoName;

}  // namespace

CBlock_item::~CBlock_item() {
    TESSEL_ASSERT(mRefCount == 0);
}

void CBlock_item::GetName(AString& name) const {
    name = Name().String();
}

void CBlock_item::SetName(const wchar_t* text) {
    SetNameToken(CToken(ETokenType::SingleQuotedText, text ? std::wstring_view(text) : std::wstring_view()));
}

const CToken& CBlock_item::Name() const {
    return kNoName;
}

namespace {

template <class T>
bool Get(const CToken* token, T& value) {
    return token != nullptr && GetTokenValue(*token, value);
}

}  // namespace

bool CBlock_func_arg::GetText(wchar_t* buffer) const {
    const CToken* token = SoleValue();
    if (token == nullptr || !token->IsText()) return false;
    std::copy_n(token->Text(), token->Length() + 1, buffer);
    return true;
}

bool CBlock_func_arg::GetBool(bool& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetString(AString& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetUnsignedInt64(std::uint64_t& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetInt64(std::int64_t& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetUnsignedLong(std::uint32_t& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetUnsignedInt(std::uint32_t& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetUnsignedShort(std::uint16_t& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetLong(std::int32_t& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetInt(std::int32_t& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetShort(std::int16_t& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetFloat(float& value) const {
    return Get(SoleValue(), value);
}
bool CBlock_func_arg::GetDouble(double& value) const {
    return Get(SoleValue(), value);
}

}  // namespace io
