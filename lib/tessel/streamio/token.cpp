#include "tessel/streamio/token.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cwchar>
#include <new>
#include <utility>

namespace io {

namespace {

constexpr const char* kTypeNames[] = {
    "Null",
    "Short",
    "Int",
    "Long",
    "UnsignedShort",
    "UnsignedInt",
    "UnsignedLong",
    "Double",
    "Float",
    "Hex",
    "True",
    "False",
    "Keyword",
    "SingleQuotedText",
    "DoubleQuotedText",
    "CData",
    "WhiteSpace",
    "Comment",
    "Symbol",
    "Eol",
    "Eof",
    "Error",
};
static_assert(std::size(kTypeNames) == static_cast<std::size_t>(ETokenType::Error) + 1,
              "one name for each kind, in enumeration order");

// A shared text is one block: padding, the count of sharers in the last byte before the characters,
// the characters, a zero. At 255 sharers the next copy gets a block of its own.
using SharerCount                   = std::uint8_t;
constexpr SharerCount kMaxSharers   = 255;
constexpr std::size_t kTextPrologue = sizeof(wchar_t);  // keeps the characters aligned

SharerCount& Sharers(wchar_t* text) noexcept {
    return reinterpret_cast<SharerCount*>(text)[-1];
}

wchar_t* NewSharedText(const wchar_t* text, std::size_t length) {
    void* block                = ::operator new(kTextPrologue + (length + 1) * sizeof(wchar_t));
    auto*           characters = reinterpret_cast<wchar_t*>(static_cast<char*>(block) + kTextPrologue);
    std::copy_n(text, length, characters);
    characters[length]  = 0;
    Sharers(characters) = 1;
    return characters;
}

void ReleaseSharedText(wchar_t* text) noexcept {
    if (--Sharers(text) == 0) ::operator delete(reinterpret_cast<char*>(text) - kTextPrologue);
}

std::wstring Widen(const char* begin, const char* end) {
    return {begin, end};
}

}  // namespace

const char* TokenTypeName(ETokenType type) noexcept {
    const auto index = static_cast<std::size_t>(type);
    return index < std::size(kTypeNames) ? kTypeNames[index] : "Error";
}

CToken::CToken(const CToken& other) : mType(other.mType), mValue(other.mValue) {
    ShareText(other);
}

CToken::CToken(CToken&& other) noexcept
    : mType(std::exchange(other.mType, ETokenType::Null)),
      mText(std::exchange(other.mText, nullptr)),
      mValue(std::exchange(other.mValue, UValue{})) {}

CToken& CToken::operator=(const CToken& other) {
    if (this != &other) *this = CToken(other);
    return *this;
}

CToken& CToken::operator=(CToken&& other) noexcept {
    std::swap(mType, other.mType);
    std::swap(mText, other.mText);
    std::swap(mValue, other.mValue);
    return *this;
}

void CToken::ShareText(const CToken& other) {
    if (other.mText == nullptr) return;
    if (Sharers(other.mText) == kMaxSharers) {
        mText = NewSharedText(other.mText, other.Length());
    } else {
        ++Sharers(other.mText);
        mText = other.mText;
    }
}

void CToken::DropText() noexcept {
    if (mText != nullptr) ReleaseSharedText(std::exchange(mText, nullptr));
}

void CToken::SetText(ETokenType type, std::wstring_view text) {
    CToken     token(type);
    const bool fits = text.size() <= kInlineCapacity && text.find(L'\0') == text.npos;
    if (fits) {
        std::copy(text.begin(), text.end(), token.mValue.mInline);
        token.mValue.mInline[text.size()] = 0;
    } else {
        token.mText          = NewSharedText(text.data(), text.size());
        token.mValue.mLength = text.size();
    }
    *this = std::move(token);
}

void CToken::SetNumber(ETokenType type, double number) noexcept {
    DropText();
    mType          = type;
    mValue         = UValue{};
    mValue.mNumber = number;
}

void CToken::KeepSpelling(std::wstring_view spelling) {
    wchar_t* text = NewSharedText(spelling.data(), spelling.size());
    DropText();
    mText = text;
}

bool CToken::IsNoToken() const noexcept {
    switch (mType) {
        case ETokenType::Null:
        case ETokenType::Eol:
        case ETokenType::Eof:
        case ETokenType::Error:
            return true;
        default:
            return IsText() && Length() == 0;
    }
}

bool CToken::CanBeName() const noexcept {
    return IsQuoted() || (!IsNoToken() && mType != ETokenType::Symbol);
}

bool CToken::CanBeValue() const noexcept {
    return mType == ETokenType::Keyword || IsQuoted() || IsNumeric() || IsBoolean();
}

bool CToken::IsSymbol(wchar_t ch) const noexcept {
    return mType == ETokenType::Symbol && Length() == 1 && Text()[0] == ch;
}

const wchar_t* CToken::Text() const noexcept {
    if (mText != nullptr) return mText;
    return IsText() ? mValue.mInline : L"";
}

std::size_t CToken::Length() const noexcept {
    if (mText != nullptr && IsText()) return static_cast<std::size_t>(mValue.mLength);
    return std::wcslen(Text());
}

AString CToken::Dump() const {
    const std::string_view name = TokenTypeName(mType);
    std::wstring           dump(name.begin(), name.end());
    std::array<char, 32>   digits{};
    if (mType == ETokenType::Hex) {
        const auto value = static_cast<long long>(Number());
        dump += L" 0x" + Widen(digits.data(), std::to_chars(digits.begin(), digits.end(), value, 16).ptr);
    } else if (IsNumeric()) {
        dump += L" " + Widen(digits.data(), std::to_chars(digits.begin(), digits.end(), Number()).ptr);
    } else if (Length() != 0) {
        dump += L" ";
        dump += View();
    }
    return AString(std::move(dump));
}

}  // namespace io
