#pragma once

#include "tessel/strings/astringwchar.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
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
/// Short texts (`kInlineCapacity`) lie in the token itself; longer ones in a block shared by the copies of
/// the token, and by tokens of equal text that one stream delivers. The count of sharers is a plain byte:
/// what one stream has read belongs to one thread at a time. A text of 2^32 units or more is more than a
/// token can hold: `std::bad_alloc`.
class CToken {
  private:
    union UValue {
        double   mNumber;  ///< numeric kinds
        wchar_t* mText;    ///< a text outside of the token, the byte before it counts its sharers
        wchar_t  mInline[sizeof(double) / sizeof(wchar_t)];  ///< a text in the token
    };

    /// Where the text is.
    enum class EPlace : std::uint8_t {
        kInside,   ///< in `mInline`, if the kind has a text
        kOutside,  ///< at `mText`
        kSpelling  ///< at `mText` too, with the number before it
    };

    /// All but the value, in one word: tokens are moved by words, and a processor waits for a word that has
    /// just been put together from stores of its parts.
    class CKind {
      public:
        constexpr CKind() noexcept = default;
        constexpr explicit CKind(ETokenType type, EPlace place = EPlace::kInside,
                                 std::uint32_t length = 0) noexcept
            : mWord(std::uint64_t{length} << 32 | std::uint64_t{static_cast<std::uint8_t>(place)} << 8 |
                    static_cast<std::uint8_t>(type)) {}
        constexpr ETokenType Type() const noexcept { return static_cast<ETokenType>(mWord & 0xFF); }
        constexpr EPlace     Place() const noexcept { return static_cast<EPlace>(mWord >> 8 & 0xFF); }
        /// Of the text.
        constexpr std::uint32_t Length() const noexcept { return static_cast<std::uint32_t>(mWord >> 32); }

      private:
        std::uint64_t mWord = 0;
    };

  public:
    /// Units of text that lie in the token, a zero behind them: three on Windows, one on Linux.
    static constexpr std::size_t kInlineCapacity = std::size(decltype(UValue::mInline){}) - 1;

    CToken() noexcept = default;
    /// A token that carries nothing (or an empty text).
    explicit CToken(ETokenType type) noexcept : mKind(type) {}
    CToken(ETokenType type, std::wstring_view text) : CToken() { SetText(type, text); }
    CToken(ETokenType type, double number) noexcept : CToken() { SetNumber(type, number); }
    CToken(const CToken& other) : mValue(other.mValue), mKind(other.mKind) {
        if (other.IsOutside()) CopyText(other);
    }
    CToken(CToken&& other) noexcept : mValue(other.mValue), mKind(other.mKind) { other.Forget(); }
    CToken& operator=(const CToken& other) {
        if (this != &other) *this = CToken(other);
        return *this;
    }
    CToken& operator=(CToken&& other) noexcept {
        if (this == &other) return *this;
        if (IsOutside()) DropText();
        mValue = other.mValue;
        mKind  = other.mKind;
        other.Forget();
        return *this;
    }
    ~CToken() {
        if (IsOutside()) DropText();
    }

    /// Becomes a text token. @pre `IsTextType(type)`.
    void SetText(ETokenType type, std::wstring_view text);
    /// Becomes a `Symbol` of this character, which is not NUL.
    void SetSymbol(wchar_t ch) noexcept {
        Clear();
        mKind             = CKind(ETokenType::Symbol, EPlace::kInside, 1);
        mValue.mInline[0] = ch;
    }
    /// Becomes a text token that shares the long text of another text token. False, with nothing changed,
    /// when that has as many sharers as it can have.
    bool ShareText(ETokenType type, const CToken& other) noexcept {
        if (Sharers(other.mValue.mText) == kMaxSharers) return false;
        ++Sharers(other.mValue.mText);
        if (IsOutside()) DropText();
        mKind  = CKind(type, EPlace::kOutside, other.mKind.Length());
        mValue = other.mValue;
        return true;
    }
    /// Whether this is a token with this text, outside of itself.
    bool HasSharedText(std::wstring_view text) const noexcept {
        return IsOutside() && mKind.Length() == text.size() &&
               EqualUnits(mValue.mText, text.data(), text.size());
    }
    /// What can be noted of a text outside of a token, for all that share it: who writes it need not look
    /// again.
    enum ENote : std::uint8_t {
        kIsWord  = 1,  ///< in the library's default grammar it is a keyword which means nothing else
        kIsPlain = 2  ///< printable ASCII without quotes and backslashes: it stands for itself between quotes
    };
    void Note(ENote note) noexcept {
        if (IsOutside()) Notes(mValue.mText) |= note;
    }
    bool IsNoted(ENote note) const noexcept { return IsOutside() && (Notes(mValue.mText) & note) != 0; }
    /// A text outside of a token can be read in whole steps of so many units; what is behind its zero is
    /// unspecified.
    static constexpr std::size_t kTextStep = 8;
    /// The text outside of itself. @pre there is one.
    std::wstring_view SharedText() const noexcept { return {mValue.mText, mKind.Length()}; }
    /// Two units as one number.
    static std::uint64_t Pair(const wchar_t* units) noexcept {
        std::uint64_t pair = 0;
        std::memcpy(&pair, units, 2 * sizeof(wchar_t));
        return pair;
    }
    /// By groups of units, the last of which may overlap the one before: texts are short, and their lengths
    /// nothing that a processor should have to guess.
    static bool EqualUnits(const wchar_t* a, const wchar_t* b, std::size_t count) noexcept {
        const auto differ = [&](std::size_t at) { return Pair(a + at) ^ Pair(b + at); };
        if (count >= 4) {
            for (std::size_t at = 0; at + 4 < count; at += 4)
                if ((differ(at) | differ(at + 2)) != 0) return false;
            return (differ(count - 4) | differ(count - 2)) == 0;
        }
        if (count >= 2) return (differ(0) | differ(count - 2)) == 0;
        return count == 0 || *a == *b;
    }
    /// Becomes a numeric token. @pre `IsNumericType(type)`.
    void SetNumber(ETokenType type, double number) noexcept {
        Clear();
        mKind          = CKind(type);
        mValue.mNumber = number;
    }
    /// Keeps the characters that a token without text was read from.
    void KeepSpelling(std::wstring_view spelling);
    /// Becomes a `Null` token.
    void Clear() noexcept {
        if (IsOutside()) DropText();
        Forget();
    }

    ETokenType Type() const noexcept { return mKind.Type(); }
    bool       IsNumeric() const noexcept { return IsNumericType(Type()); }
    bool       IsText() const noexcept { return IsTextType(Type()); }
    bool       IsQuoted() const noexcept { return IsQuotedType(Type()); }
    bool IsBoolean() const noexcept { return Type() == ETokenType::True || Type() == ETokenType::False; }
    /// True for kinds that stand for no token at all, and for a text kind without text.
    bool IsNoToken() const noexcept {
        switch (Type()) {
            case ETokenType::Null:
            case ETokenType::Eol:
            case ETokenType::Eof:
            case ETokenType::Error:
                return true;
            default:
                return IsText() && Length() == 0;
        }
    }
    /// True for a token that has a text, be it empty.
    bool HasText() const noexcept { return IsText() || IsOutside(); }
    /// True when the token can stand for a name: quoted (also empty), or a word, number or boolean.
    bool CanBeName() const noexcept { return IsQuoted() || (Type() != ETokenType::Symbol && !IsNoToken()); }
    /// True when the token can stand as a value: word, quoted text, number or boolean.
    bool CanBeValue() const noexcept {
        return Type() == ETokenType::Keyword || IsQuoted() || IsNumeric() || IsBoolean();
    }
    /// True when the token is this one-character `Symbol`.
    bool IsSymbol(wchar_t ch) const noexcept {
        return Type() == ETokenType::Symbol && Length() == 1 && Text()[0] == ch;
    }

    /// The number of a numeric token, 0 for any other.
    double Number() const noexcept {
        if (!IsNumeric()) return 0.0;
        return mKind.Place() == EPlace::kSpelling ? NumberBefore(mValue.mText) : mValue.mNumber;
    }
    /// The text, NUL-terminated, never null; valid while this token is unchanged. Numeric and other
    /// tokens have one only when their spelling was kept.
    const wchar_t* Text() const noexcept {
        if (IsOutside()) return mValue.mText;
        return IsText() ? mValue.mInline : L"";
    }
    /// Length of the text in code units.
    std::size_t       Length() const noexcept { return mKind.Length(); }
    std::wstring_view View() const noexcept { return {Text(), Length()}; }
    AString           String() const { return AString(Text(), Length()); }

    /// "Keyword abc", "Int 5", "Hex 0x1f", "Eol": for diagnostics.
    AString Dump() const;

  private:
    bool IsOutside() const noexcept { return mKind.Place() != EPlace::kInside; }

    // A text outside is one block: a number if it is its spelling, padding, the notes, the count of sharers
    // in the last byte before the characters, the characters, a zero. At 255 sharers the next copy gets a
    // block of its own.
    using CSharers                        = std::uint8_t;
    static constexpr CSharers kMaxSharers = 255;
    static CSharers&     Sharers(wchar_t* text) noexcept { return reinterpret_cast<CSharers*>(text)[-1]; }
    static std::uint8_t& Notes(wchar_t* text) noexcept { return reinterpret_cast<std::uint8_t*>(text)[-2]; }
    static std::size_t   BytesBefore(EPlace place) noexcept;
    static double        NumberBefore(const wchar_t* text) noexcept;

    /// Takes a new text in the place of its value, for its kind. @pre it has none outside.
    void SetOutside(EPlace place, std::wstring_view text);
    void CopyText(const CToken& other);
    void DropText() noexcept {
        if (--Sharers(mValue.mText) == 0) DeleteText();
    }
    void DeleteText() noexcept;
    /// Becomes a `Null` token without letting go of the text.
    void Forget() noexcept {
        mValue = UValue{};
        mKind  = CKind{};
    }

    UValue mValue{};
    CKind  mKind;
};

static_assert(sizeof(CToken) == 16, "a tree is tokens, for the most part");

}  // namespace io
