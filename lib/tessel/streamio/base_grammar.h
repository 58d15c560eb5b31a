#pragma once

#include "tessel/streamio/token.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

namespace io {

/// A character as the lexer sees it: a UTF-16 unit, a value above 0xFFFF that no token can hold,
/// or the end of the input.
using LexChar = std::int32_t;

inline constexpr LexChar kEndOfInput = -1;
inline constexpr LexChar kCharMax    = 0x10000;  ///< one past the last character that can carry flags

/// What a character is good for; a character can carry several.
enum ECharFlag : std::uint32_t {
    kFlagLineEnd        = 0x2,
    kFlagKeywordStart   = 0x8,
    kFlagKeywordChar    = 0x10,
    kFlagLeadingZero    = 0x20,
    kFlagDigit          = 0x40,
    kFlagWhiteSpace     = 0x80,
    kFlagSign           = 0x100,
    kFlagMinus          = 0x200,
    kFlagPoint          = 0x400,
    kFlagComment        = 0x800,
    kFlagDoubleQuote    = 0x1000,
    kFlagSingleQuote    = 0x2000,
    kFlagExponent       = 0x4000,
    kFlagHexMark        = 0x8000,
    kFlagHexLetter      = 0x10000,
    kFlagEscape         = 0x20000,
    kFlagCarriageReturn = 0x40000,
    kFlagCDataMark      = 0x80000,
    kFlagSymbol         = 0x100000,
};

/// Character classes: what a character means in the lexer's present state.
enum ECharClass : std::uint8_t {
    kClassOther,
    kClassInvalid,  ///< outside the 16-bit range
    kClassLineEnd,
    kClassEnd,  ///< of the input
    kClassKeywordStart,
    kClassKeywordChar,
    kClassLeadingZero,
    kClassDigit,
    kClassWhiteSpace,
    kClassSign,
    kClassUnused,  ///< no character is ever of this class
    kClassPoint,
    kClassComment,
    kClassDoubleQuote,
    kClassSingleQuote,
    kClassExponent,
    kClassHexMark,
    kClassHexLetter,
    kClassEscape,
    kClassCarriageReturn,
    kClassCDataMark,
    kClassSymbol,
    kClassCount
};

/// The lexer's states. From `kFirstFinalState` on a token is complete.
enum ELexState : std::uint8_t {
    kStart,
    kInComment,
    kInWhiteSpace,
    kOneCharacter,
    kAfterLineEnd,
    kInWord,
    kSingleOpen,  ///< right after an opening single quote
    kDoubleOpen,
    kAfterZero,
    kAfterSign,
    kAfterPoint,
    kInInteger,
    kAfterCr,
    kInSingle,
    kInDouble,
    kSingleEscape,  ///< after a backslash in single quotes
    kDoubleEscape,
    kSingleEscapeCr,  ///< after a backslash and CR in single quotes
    kDoubleEscapeCr,
    kSingleEscaped,  ///< after a backslash and the character it escapes
    kDoubleEscaped,
    kSingleClosed,
    kDoubleClosed,
    kInCData,
    kInCDataTag,
    kAfterSignPoint,
    kAfterHexMark,
    kInHex,
    kInFraction,
    kAfterExponent,
    kInExponent,
    kAfterExponentSign,

    kEndError,
    kFirstFinalState = kEndError,
    kEndEol,
    kEndEof,
    kEndSymbol,
    kEndWord,
    kEndDouble,
    kEndInt,
    kEndSingle,
    kEndDoubleQuoted,
    kEndCData,
    kEndComment,
    kEndWhiteSpace,
    kEndSignPoint,     ///< a sign and a point that begin no number
    kEndExponent,      ///< a number, then an exponent mark that belongs to what follows
    kEndExponentSign,  ///< the same with mark and sign
    kEndHexMark,       ///< a zero, then an "x" that belongs to what follows
    kEndHex,
    kStateCount
};

/// What states have in common.
enum EStateMode : std::uint8_t {
    kModePlain,
    kModeComment,     ///< characters are dropped unless comments are returned
    kModeWhiteSpace,  ///< the same for white space
    kModeWord,
    kModeQuoted,  ///< nearly every character stands for itself
    kModeCData,
    kModeNumber,
    kModeHex,
};

/// What the lexer does when it enters a state, with the current character not yet consumed.
enum class ELexAction : std::uint8_t {
    kInvalid,         ///< no token continues this way: consume, emit `Error`
    kAppendOrSkip,    ///< append unless it belongs to a comment or to white space that is not returned
    kAppend,          ///< append and consume
    kAppendCased,     ///< the same, in the case that the case mode asks for
    kConsume,         ///< quotes, line ends, backslashes: not part of the text
    kEscaped,         ///< translate the character after a backslash
    kContinueLine,    ///< CR after a backslash: a LF in the text
    kWordCharacter,   ///< append cased, unless "#inf"/"#nan" stops matching here
    kCDataTag,        ///< compare with the closing tag
    kEmit,            ///< complete: a token of the state's type
    kEndLine,         ///< complete: count the line
    kEndSymbol,       ///< complete, unless "#inf"/"#nan" may begin here
    kEndWord,         ///< complete: tell keywords, booleans and the CDATA tag apart
    kEndDelimited,    ///< the same; a one-character word that is not alphanumeric is a `Symbol`
    kEndCData,        ///< complete when the closing tag has been matched, or the input ends
    kEndSkippable,    ///< comment or white space: complete only when it is returned
    kEndPushBackOne,  ///< complete but for the last character
    kEndPushBackTwo,  ///< complete but for the last two characters
};

/// Data and rules by which the lexer tells tokens apart: flags of characters, classes, and the
/// tables of states. A grammar in use by several streams must not be changed.
class CBase_grammar {
  public:
    virtual ~CBase_grammar()                       = default;
    CBase_grammar(const CBase_grammar&)            = delete;
    CBase_grammar& operator=(const CBase_grammar&) = delete;

    /// Makes each character of a NUL-terminated text open a comment.
    virtual void AddCommentChars(const wchar_t* chars);
    virtual void RemoveCommentChars(const wchar_t* chars);
    /// What `ch` means in `state`.
    virtual ECharClass Classify(LexChar ch, ELexState state) const noexcept = 0;
    /// Rebuilds the character flags from scratch.
    virtual void InitCharFlags();
    /// Rebuilds the tables of states from scratch.
    virtual void InitStateTables();

    void          SetCharFlags(LexChar ch, std::uint32_t flags);
    void          ClearCharFlags(LexChar ch, std::uint32_t flags);
    std::uint32_t CharFlags(LexChar ch) const noexcept {
        if (ch < 0 || ch >= kCharMax) return 0;
        const CPage* page = mPages[static_cast<std::size_t>(ch >> 8)].get();
        return page ? (*page)[static_cast<std::size_t>(ch & 0xFF)] : 0;
    }
    bool HasFlags(LexChar ch, std::uint32_t mask) const noexcept { return (CharFlags(ch) & mask) != 0; }

    ELexState Transition(ELexState state, ECharClass charClass) const noexcept {
        return mTransitions[state][charClass];
    }
    static constexpr bool IsFinal(ELexState state) noexcept { return state >= kFirstFinalState; }
    ETokenType            TokenTypeOf(ELexState state) const noexcept { return mTypes[state]; }
    ELexAction            Action(ELexState state) const noexcept { return mActions[state]; }
    EStateMode            ModeOf(ELexState state) const noexcept { return mModes[state]; }

    /// The kind of the first token of a NUL-terminated text, by the tables alone (keywords such as
    /// "true" count as `Keyword`). The terminating NUL counts as a line end.
    /// @param length  receives the number of units that the token takes.
    ETokenType ScanType(const wchar_t* text, std::size_t* length = nullptr) const;
    /// Whether the whole text is one token of a kind between `low` and `high`; white space and
    /// comments may follow it.
    bool ScanTypeInRange(const wchar_t* text, ETokenType low, ETokenType high) const;

    /// What a character behind a backslash stands for.
    static wchar_t MeantBehindEscape(wchar_t written) noexcept;
    /// What a whole word is: a `Keyword`, one of the booleans, or the tag that opens `CData`.
    ETokenType TypeOfWord(std::wstring_view word) const noexcept;
    /// The same for a word of ASCII characters, told by its first letter most times. @pre it is not empty.
    ETokenType TypeOfAsciiWord(std::wstring_view word) const noexcept {
        constexpr wchar_t kLower = 0x20;  // a letter's bit
        const auto        begins = [first = word[0] | kLower](const std::wstring& other) {
            return first == (other[0] | kLower);
        };
        const bool mayBeOther = begins(mTrue) || begins(mFalse) || begins(mCDataOpen);
        return mayBeOther ? TypeOfWord(word) : ETokenType::Keyword;
    }

    /// Whether two words differ in case at most.
    static bool SameWord(std::wstring_view a, std::wstring_view b) noexcept {
        return a.size() == b.size() && SameLetters(a, b);
    }
    const std::wstring& TrueSpelling() const noexcept { return mTrue; }
    const std::wstring& FalseSpelling() const noexcept { return mFalse; }
    const std::wstring& InfinitySpelling() const noexcept { return mInfinity; }
    const std::wstring& NanSpelling() const noexcept { return mNan; }
    const std::wstring& HexPrefix() const noexcept { return mHexPrefix; }
    /// The CDATA tags; empty in a grammar without CDATA.
    const std::wstring& CDataOpen() const noexcept { return mCDataOpen; }
    const std::wstring& CDataClose() const noexcept { return mCDataClose; }
    /// The character that a writer opens a comment with; 0 when there is none.
    wchar_t CommentChar() const noexcept { return mCommentChar; }

  protected:
    CBase_grammar() = default;

    /// Characters of codes 0..255 that get flags: those of a kind, or those listed.
    struct CFlagRule {
        bool (*mTest)(wchar_t ch) noexcept;  ///< or null: then `mChars` lists them
        const wchar_t* mChars;
        std::uint32_t  mFlags;
    };
    void ApplyFlagRules(std::initializer_list<CFlagRule> rules);
    /// The flags that mean the same in every grammar of this library.
    void ApplySharedFlags();
    /// Sets or clears flags of each character of a NUL-terminated text.
    void SetFlagsOf(const wchar_t* chars, std::uint32_t flags);
    void ClearFlagsOf(const wchar_t* chars, std::uint32_t flags);

    /// The classes that a character has in any state; `kClassOther` when the state decides.
    static ECharClass ClassifyAnywhere(std::uint32_t flags) noexcept;
    /// The classes of the characters of numbers.
    static ECharClass ClassifyNumeric(std::uint32_t flags) noexcept;

    /// Where some classes of character lead.
    struct CArc {
        std::initializer_list<ECharClass> mOn;
        ELexState                         mTo;
    };
    /// The ways out of some states. A character outside the 16-bit range leads to `kEndError` unless
    /// an arc names it.
    struct CStateRow {
        std::initializer_list<ELexState> mIn;
        std::initializer_list<CArc>      mArcs;
        ELexState                        mElse;
    };
    void ApplyStateRows(std::initializer_list<CStateRow> rows);
    /// What every grammar of this library shares: comments, blanks, line ends and quoted texts, and
    /// the actions and modes of all states.
    void InitSharedStates();

    std::wstring mCDataOpen;
    std::wstring mCDataClose;

    std::array<std::array<ELexState, kClassCount>, kStateCount> mTransitions{};
    std::array<ELexAction, kStateCount>                         mActions{};
    std::array<ETokenType, kStateCount>                         mTypes{};
    std::array<EStateMode, kStateCount>                         mModes{};

  private:
    using CPage = std::array<std::uint32_t, 256>;

    void        FindCommentChar();
    static bool SameLetters(std::wstring_view a, std::wstring_view b) noexcept;

    std::array<std::unique_ptr<CPage>, 256> mPages;

    std::wstring mTrue        = L"true";
    std::wstring mFalse       = L"false";
    std::wstring mInfinity    = L"#inf";
    std::wstring mNan         = L"#nan";
    std::wstring mHexPrefix   = L"0x";
    wchar_t      mCommentChar = 0;
};

}  // namespace io
