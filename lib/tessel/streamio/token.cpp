#include "tessel/streamio/token.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <new>

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

constexpr std::size_t kTextPrologue = sizeof(wchar_t);  // keeps the characters aligned

wchar_t* NewText(const wchar_t* text, std::size_t length) {
    constexpr std::size_t kStep = CToken::kTextStep;
    const std::size_t     units = std::max(length + 1, (length + kStep - 1) / kStep * kStep);
    void* block                 = ::operator new(kTextPrologue + units * sizeof(wchar_t));
    auto*           characters  = reinterpret_cast<wchar_t*>(static_cast<char*>(block) + kTextPrologue);
    std::copy_n(text, length, characters);
    characters[length] = 0;
    std::fill_n(static_cast<char*>(block), kTextPrologue, '\0');
    return characters;
}

std::wstring Widen(const char* begin, const char* end) {
    return {begin, end};
}

}  // namespace

const char* TokenTypeName(ETokenType type) noexcept {
    const auto index = static_cast<std::size_t>(type);
    return index < std::size(kTypeNames) ? kTypeNames[index] : "Error";
}

void CToken::CopyText(const CToken& other) {
    if (Sharers(other.mText) != kMaxSharers) {
        mText = other.mText;
        ++Sharers(mText);
    } else {
        mText          = NewText(other.mText, other.Length());
        Sharers(mText) = 1;
    }
}

void CToken::DeleteText(wchar_t* text) noexcept {
    ::operator delete(reinterpret_cast<char*>(text) - kTextPrologue);
}

void CToken::SetText(ETokenType type, std::wstring_view text) {
    CToken token(type);
    // A NUL would end a text that lies in the token.
    if (text.size() <= kInlineCapacity && text.find(L'\0') == text.npos) {
        std::copy(text.begin(), text.end(), token.mValue.mInline);
    } else {
        token.mText          = NewText(text.data(), text.size());
        Sharers(token.mText) = 1;
        token.mValue.mLength = text.size();
    }
    *this = std::move(token);
}

void CToken::KeepSpelling(std::wstring_view spelling) {
    wchar_t* text = NewText(spelling.data(), spelling.size());
    if (mText != nullptr) DropText();
    mText          = text;
    Sharers(mText) = 1;
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
