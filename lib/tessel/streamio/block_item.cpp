#include "tessel/streamio/block_item.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/item_pool.h"
#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_value.h"

#include <algorithm>

namespace io {

namespace {

const CToken kNoName;

}  // namespace

CBlock_item::~CBlock_item() {
    TESSEL_ASSERT(mRefCount == 0);
}

void CBlock_item::Destroy() noexcept {
    if (mPoolOffset == 0) {
        delete this;
        return;
    }
    auto* chunk = reinterpret_cast<CItemPool::CChunk*>(reinterpret_cast<char*>(this) - mPoolOffset);
    this->~CBlock_item();
    CItemPool::Release(chunk);
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

bool CBlock_item::FromString(const AString& text) {
    CToken_istring stream(text);
    if (HasName() && !IsBlock() && stream.CurrentToken().CanBeName()) {
        CToken name;
        stream.ReadToken(name);
        SetNameToken(name);
    }
    Read(stream);
    return !stream.fail();
}

std::size_t EstimateToken(const CToken& token) noexcept {
    constexpr std::size_t kLongestNumber = 26;  // "-2.2250738585072014e-308", and a word's separators
    constexpr std::size_t kPerUnit       = 4;   // a backslash and the three bytes of a UTF-8 form
    constexpr std::size_t kAround        = 28;  // quotes, or CDATA tags, or the binary form's type and length
    return token.IsText() ? kAround + kPerUnit * token.Length() : kLongestNumber;
}

std::size_t TextBytes(const CToken& token) noexcept {
    return token.Length() > CToken::kInlineCapacity ? (token.Length() + 2) * sizeof(wchar_t) : 0;
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
