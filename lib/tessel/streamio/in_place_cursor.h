#pragma once

#include "tessel/streamio/lex_table.h"
#include "tessel/streamio/recent_texts.h"
#include "tessel/streamio/token.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace io {

struct CDecimal;

/// What a token buffer's characters are lexed by, where they lie.
struct CInPlaceRules {
    const CBase_grammar* mGrammar    = nullptr;
    const CLexTable*     mTable      = nullptr;  ///< of the grammar
    bool                 mComments   = false;    ///< are returned
    bool                 mWhiteSpace = false;    ///< is returned
    bool                 mWords      = true;     ///< are plain: neither changed in case nor in kind
    bool                 mIsDefault  = false;    ///< the grammar is the library's default
    bool                 mUtf8       = false;    ///< characters from 128 on are UTF-8
    wchar_t              mSpecial    = 0;  ///< the character that may begin a number besides digits; or 0
    CRecentTexts*        mTexts      = nullptr;
    std::wstring*        mComposed   = nullptr;  ///< room for a text that does not lie there as it is meant
};

/// Lexes tokens from characters in memory. It goes by the tables that the state machine of the text form
/// runs by, and knows only what is usual: a token that is not whole in the units, a word with characters
/// from 128 on, a number with something left over and the like is not lexed: the answer is false, and the
/// state machine must have its turn, from the place where the cursor was before.
class CInPlaceCursor {
  public:
    CInPlaceCursor() = default;
    CInPlaceCursor(const CInPlaceRules& rules, std::wstring_view units) noexcept
        : mRules(&rules),
          mTable(rules.mTable),
          mFrom(units.data()),
          mNext(mFrom),
          mEnd(mFrom + units.size()),
          mToken(mFrom) {}

    /// Lexes the next token.
    bool Lex(CToken& token);
    /// The same at the start of a line, for a name: quicker when names come in an order that they came in
    /// before.
    bool LexName(CToken& token);
    /// Passes over the symbol that is next, and tells it; 0 when none is.
    wchar_t TakeSymbol() noexcept;
    /// Passes over a line end, if it is next.
    bool SkipLineEnd() noexcept { return EndLine(Skip()); }

    /// A place that the cursor was at.
    struct CMark {
        const wchar_t* mNext  = nullptr;
        const wchar_t* mToken = nullptr;
        std::uint32_t  mLines = 0;
    };
    CMark Mark() const noexcept { return {mNext, mToken, mLines}; }
    void  Return(const CMark& mark) noexcept {
         mNext  = mark.mNext;
         mToken = mark.mToken;
         mLines = mark.mLines;
    }

    bool IsOpen() const noexcept { return mRules != nullptr; }
    /// Units passed over.
    std::size_t Units() const noexcept { return static_cast<std::size_t>(mNext - mFrom); }
    /// Units before the token lexed, or the line end passed over, last.
    std::size_t   TokenUnits() const noexcept { return static_cast<std::size_t>(mToken - mFrom); }
    std::uint32_t Lines() const noexcept { return mLines; }

  private:
    using CUnits = const wchar_t*;

    const CLexTable& Table() const noexcept { return *mTable; }
    /// Where the run of characters that leave the state as it is ends.
    CUnits EndOfRun(ELexState state, CUnits next) const noexcept {
        const CLexTable& table = Table();
        for (; mEnd - next >= 4; next += 4) {
            if (!table.Stays(state, next[0])) return next;
            if (!table.Stays(state, next[1])) return next + 1;
            if (!table.Stays(state, next[2])) return next + 2;
            if (!table.Stays(state, next[3])) return next + 3;
        }
        while (next != mEnd && table.Stays(state, *next))
            ++next;
        return next;
    }
    bool      IsKnown(CUnits at) const noexcept { return at != mEnd && CLexTable::Has(*at); }
    ELexState Skip() noexcept;
    bool      EndLine(ELexState state) noexcept;
    /// Whether the symbol here is one whatever follows it. A character that no token can hold would spoil it.
    bool IsPlainSymbol() const noexcept { return *mNext != mRules->mSpecial && IsKnown(mNext + 1); }
    bool LexWord(CToken& token);
    /// Whether the word here is this one, which was a word before. @pre it is not empty.
    bool IsWordHere(std::wstring_view word) const noexcept {
        return static_cast<std::size_t>(mEnd - mNext) > word.size() &&
               CToken::EqualUnits(mNext, word.data(), word.size()) &&
               Table().Leads(kInWord, mNext[word.size()], kEndWord);
    }
    bool   LexNumber(CToken& token, ELexState state);
    bool   LexManyDigits(CToken& token, CDecimal decimal, CUnits next);
    bool   LexAnyNumber(CToken& token, ELexState state, CUnits next);
    CUnits AddDigits(CUnits next, std::uint64_t& value) const noexcept;
    struct CQuotedStates;
    bool LexQuoted(CToken& token, const CQuotedStates& states);
    bool LexEscaped(CToken& token, const CQuotedStates& states);
    bool DecodeInText(CUnits& next, ELexState state, std::wstring& text) const;

    const CInPlaceRules* mRules = nullptr;
    const CLexTable*     mTable = nullptr;  ///< of the rules
    CUnits               mFrom  = nullptr;
    CUnits               mNext  = nullptr;
    CUnits               mEnd   = nullptr;
    CUnits               mToken = nullptr;
    std::uint32_t        mLines = 0;
};

/// The states of a kind of quoted text.
struct CInPlaceCursor::CQuotedStates {
    ELexState  mInside;
    ELexState  mEscape;  ///< behind a backslash
    ELexState  mEscaped;
    ELexState  mClosed;
    ETokenType mType;
};

/// Passes over blanks and comments, and tells the state that the character behind them leads to;
/// `kEndError` when that cannot be told.
inline ELexState CInPlaceCursor::Skip() noexcept {
    while (IsKnown(mNext)) {
        const ELexState state = Table().Next(kStart, *mNext);
        if (state != kInWhiteSpace && state != kInComment) return state;
        if (state == kInComment ? mRules->mComments : mRules->mWhiteSpace) break;
        mNext = EndOfRun(state, mNext + 1);
    }
    return kEndError;
}

inline wchar_t CInPlaceCursor::TakeSymbol() noexcept {
    return Skip() == kOneCharacter && IsPlainSymbol() ? *mNext++ : L'\0';
}

inline bool CInPlaceCursor::EndLine(ELexState state) noexcept {
    if (state == kAfterCr) {
        if (!IsKnown(mNext + 1) || Table().Next(kAfterCr, mNext[1]) != kAfterLineEnd) return false;
        mToken = mNext;
        mNext += 2;
    } else if (state == kAfterLineEnd) {
        mToken = mNext++;
    } else {
        return false;
    }
    ++mLines;
    return true;
}

inline bool CInPlaceCursor::Lex(CToken& token) {
    const ELexState state = Skip();
    mToken                = mNext;
    switch (state) {
        case kEndError:
            return false;
        case kInWord:
            return LexWord(token);
        case kAfterLineEnd:
        case kAfterCr:
            if (!EndLine(state)) return false;
            token = CToken(ETokenType::Eol);
            return true;
        case kOneCharacter:
            if (!IsPlainSymbol()) return false;
            token.SetSymbol(*mNext++);
            return true;
        case kSingleOpen:
            return LexQuoted(token, {kInSingle, kSingleEscape, kSingleEscaped, kSingleClosed,
                                     ETokenType::SingleQuotedText});
        case kDoubleOpen:
            return LexQuoted(token, {kInDouble, kDoubleEscape, kDoubleEscaped, kDoubleClosed,
                                     ETokenType::DoubleQuotedText});
        default:
            return LexNumber(token, state);
    }
}

}  // namespace io
