#pragma once

#include "tessel/strings/astringwchar.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace io {

/// What a token is. The order is fixed: kinds are tested by range.
enum class ETokenType : std::int8_t {
    Null,   ///< no token
    Short,  ///< `Short` to `Hex` carry a number
    Int,
    Long,
    UnsignedShort,
    UnsignedInt,
    UnsignedLong,
    Double,
    Float,
    Hex,
    True,
    False,
    Keyword,  ///< `Keyword` to `Symbol` carry text
    SingleQuotedText,
    DoubleQuotedText,
    CData,
    WhiteSpace,
    Comment,
    Symbol,
    Eol,
    Eof,
    Error  ///< characters that no token can hold
};

/// The enumerator's own name ("Keyword"); "Error" for a value outside the enumeration.
const char* TokenTypeName(ETokenType type) noexcept;

/// True for `Short` to `Hex`.
constexpr bool IsNumericType(ETokenType type) noexcept {
    return type >= ETokenType::Short && type <= ETokenType::Hex;
}
/// True for `Keyword` to `Symbol`.
constexpr bool IsTextType(ETokenType type) noexcept {
    return type >= ETokenType::Keyword && type <= ETokenType::Symbol;
}
/// True for the kinds that stand between quotes or CDATA tags.
constexpr bool IsQuotedType(ETokenType type) noexcept {
    return type >= ETokenType::SingleQuotedText && type <= ETokenType::CData;
}

/// One token: a kind, and the text or the number that the kind carries.
///
/// Texts of up to three characters lie in the token itself; longer ones (and any text that holds a
/// NUL) in a block shared by the copies of the token. Copies made on two threads must not share a
/// text: the count of sharers is a plain byte.
class CToken {
  public:
    CToken() noexcept = default;
    /// A token that carries nothing (or an empty text).
    explicit CToken(ETokenType type) noexcept : mType(type) {}
    CToken(ETokenType type, std::wstring_view text) : CToken() { SetText(type, text); }
    CToken(ETokenType type, double number) noexcept : CToken() { SetNumber(type, number); }
    CToken(const CToken& other);
    CToken(CToken&& other) noexcept;
    CToken& operator=(const CToken& other);
    CToken& operator=(CToken&& other) noexcept;
    ~CToken() { DropText(); }

    /// Becomes a text token. @pre `IsTextType(type)`.
    void SetText(ETokenType type, std::wstring_view text);
    /// Becomes a numeric token. @pre `IsNumericType(type)`.
    void SetNumber(ETokenType type, double number) noexcept;
    /// Keeps the characters that a token without text was read from.
    void KeepSpelling(std::wstring_view spelling);
    /// Becomes a `Null` token.
    void Clear() noexcept { *this = CToken(); }

    ETokenType Type() const noexcept { return mType; }
    bool       IsNumeric() const noexcept { return IsNumericType(mType); }
    bool       IsText() const noexcept { return IsTextType(mType); }
    bool       IsQuoted() const noexcept { return IsQuotedType(mType); }
    bool       IsBoolean() const noexcept { return mType == ETokenType::True || mType == ETokenType::False; }
    /// True for kinds that stand for no token at all, and for a text kind without text.
    bool IsNoToken() const noexcept;
    /// True for a token that has a text, be it empty.
    bool HasText() const noexcept { return IsText() || mText != nullptr; }
    /// True when the token can stand for a name: quoted (also empty), or a word, number or boolean.
    bool CanBeName() const noexcept;
    /// True when the token can stand as a value: word, quoted text, number or boolean.
    bool CanBeValue() const noexcept;
    /// True when the token is this one-character `Symbol`.
    bool IsSymbol(wchar_t ch) const noexcept;

    /// The number of a numeric token, 0 for any other.
    double Number() const noexcept { return IsNumeric() ? mValue.mNumber : 0.0; }
    /// The text, NUL-terminated, never null; valid while this token is unchanged. Numeric and other
    /// tokens have one only when their spelling was kept.
    const wchar_t* Text() const noexcept;
    /// Length of the text in code units.
    std::size_t       Length() const noexcept;
    std::wstring_view View() const noexcept { return {Text(), Length()}; }
    AString           String() const { return AString(Text(), Length()); }

    /// "Keyword abc", "Int 5", "Hex 0x1f", "Eol": for diagnostics.
    AString Dump() const;

  private:
    static constexpr std::size_t kInlineCapacity = 3;  ///< units; a zero follows

    union UValue {
        double        mNumber;                       ///< numeric kinds
        std::uint64_t mLength;                       ///< text kinds with a shared text: its length
        wchar_t       mInline[kInlineCapacity + 1];  ///< text kinds without: the text itself
    };

    void ShareText(const CToken& other);
    void DropText() noexcept;

    ETokenType mType = ETokenType::Null;
    wchar_t*   mText = nullptr;  ///< the shared text; the byte before it counts its sharers
    UValue     mValue{};
};

static_assert(sizeof(wchar_t) != 2 || sizeof(CToken) == 2 * sizeof(void*) + 8,
              "on Windows a token is a kind, a pointer and 64 bits");

}  // namespace io
