#include "tessel/streamio/token.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
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

constexpr std::size_t kPrologue = sizeof(wchar_t);  // keeps the characters aligned

std::wstring Widen(const char* begin, const char* end) {
    return {begin, end};
}

}  // namespace

const char* TokenTypeName(ETokenType type) noexcept {
    const auto index = static_cast<std::size_t>(type);
    return index < std::size(kTypeNames) ? kTypeNames[index] : "Error";
}

void CToken::CopyText(const CToken& other) {
    if (Sharers(mValue.mText) != kMaxSharers) {
        ++Sharers(mValue.mText);
        return;
    }
    mValue.mNumber = other.Number();
    SetOutside(other.mKind.Place(), other.View());
}

void CToken::SetOutside(EPlace place, std::wstring_view text) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
    const std::size_t before = BytesBefore(place);
    const std::size_t units =
        std::max(text.size() + 1, (text.size() + kTextStep - 1) / kTextStep * kTextStep);
    auto* const block = static_cast<char*>(::operator new(before + units * sizeof(wchar_t)));
    std::memset(block, 0, before);
    if (place == EPlace::kSpelling) std::memcpy(block, &mValue.mNumber, sizeof(double));
    mValue.mText = reinterpret_cast<wchar_t*>(block + before);
    std::copy(text.begin(), text.end(), mValue.mText);
    mValue.mText[text.size()] = 0;
    Sharers(mValue.mText)     = 1;
    mKind                     = CKind(Type(), place, static_cast<std::uint32_t>(text.size()));
}

std::size_t CToken::BytesBefore(EPlace place) noexcept {
    return place == EPlace::kSpelling ? sizeof(double) + kPrologue : kPrologue;
}

double CToken::NumberBefore(const wchar_t* text) noexcept {
    double number = 0.0;
    std::memcpy(&number, reinterpret_cast<const char*>(text) - BytesBefore(EPlace::kSpelling),
                sizeof(double));
    return number;
}

void CToken::DeleteText() noexcept {
    ::operator delete(reinterpret_cast<char*>(mValue.mText) - BytesBefore(mKind.Place()));
}

void CToken::SetText(ETokenType type, std::wstring_view text) {
    CToken token(type);
    if (text.size() <= kInlineCapacity) {
        std::copy(text.begin(), text.end(), token.mValue.mInline);
        token.mKind = CKind(type, EPlace::kInside, static_cast<std::uint32_t>(text.size()));
    } else {
        token.SetOutside(EPlace::kOutside, text);
    }
    *this = std::move(token);
}

void CToken::KeepSpelling(std::wstring_view spelling) {
    CToken token(Type());
    token.mValue.mNumber = Number();
    token.SetOutside(EPlace::kSpelling, spelling);
    *this = std::move(token);
}

AString CToken::Dump() const {
    const std::string_view name = TokenTypeName(Type());
    std::wstring           dump(name.begin(), name.end());
    std::array<char, 32>   digits{};
    if (Type() == ETokenType::Hex) {
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
