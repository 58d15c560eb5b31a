#include "tessel/streamio/lex_table.h"

#include <algorithm>

namespace io {

namespace {

/// Whether everything leads from the state to this end.
bool AlwaysEnds(const CBase_grammar& grammar, ELexState state, ELexState end) {
    for (int charClass = 0; charClass < kClassCount; ++charClass)
        if (charClass != kClassInvalid &&
            grammar.Transition(state, static_cast<ECharClass>(charClass)) != end)
            return false;
    return true;
}

bool IsPlainGrammar(const CBase_grammar& grammar) {
    using enum ELexAction;
    static constexpr struct {
        ELexState  mState;
        ELexAction mAction;
    } kExpected[] = {
        {kInComment, kAppendOrSkip},
        {kInWhiteSpace, kAppendOrSkip},
        {kAfterLineEnd, kConsume},
        {kOneCharacter, kAppendOrSkip},
        {kInWord, kWordCharacter},
        {kSingleOpen, kConsume},
        {kDoubleOpen, kConsume},
        {kInSingle, kAppend},
        {kInDouble, kAppend},
        {kInCData, kAppend},
        {kSingleEscape, kConsume},
        {kDoubleEscape, kConsume},
        {kSingleEscaped, kEscaped},
        {kDoubleEscaped, kEscaped},
        {kSingleClosed, kConsume},
        {kDoubleClosed, kConsume},
        {kAfterZero, kAppend},
        {kAfterSign, kAppend},
        {kAfterPoint, kAppend},
        {kInInteger, kAppend},
        {kAfterSignPoint, kAppend},
        {kInFraction, kAppend},
        {kAfterExponent, kAppend},
        {kInExponent, kAppend},
        {kAfterExponentSign, kAppend},
        {kEndEol, kEndLine},
        {io::kEndSymbol, ELexAction::kEndSymbol},
        {kEndDouble, kEmit},
        {kEndInt, kEmit},
        {kEndSingle, kEmit},
        {kEndDoubleQuoted, kEmit},
        {kEndComment, kEndSkippable},
        {kEndWhiteSpace, kEndSkippable},
    };
    const bool actions = std::all_of(std::begin(kExpected), std::end(kExpected), [&](const auto& row) {
        return grammar.Action(row.mState) == row.mAction;
    });
    const bool types   = grammar.TokenTypeOf(kEndInt) == ETokenType::Int &&
                       grammar.TokenTypeOf(kEndDouble) == ETokenType::Double &&
                       grammar.TokenTypeOf(kEndSingle) == ETokenType::SingleQuotedText &&
                       grammar.TokenTypeOf(kEndDoubleQuoted) == ETokenType::DoubleQuotedText;
    return actions && types && AlwaysEnds(grammar, kAfterLineEnd, kEndEol) &&
           AlwaysEnds(grammar, kOneCharacter, io::kEndSymbol) &&
           AlwaysEnds(grammar, kSingleClosed, kEndSingle) &&
           AlwaysEnds(grammar, kDoubleClosed, kEndDoubleQuoted);
}

}  // namespace

CLexTable::CLexTable(const CBase_grammar& grammar) {
    for (std::size_t state = 0; state < mNext.size(); ++state)
        for (std::size_t ch = 0; ch < kChars; ++ch) {
            const auto from  = static_cast<ELexState>(state);
            mNext[state][ch] = grammar.Transition(from, grammar.Classify(static_cast<LexChar>(ch), from));
        }
    mPlain = IsPlainGrammar(grammar) && HasPlainDigits() && HasPlainQuotes();
}

bool CLexTable::HasPlainDigits() const noexcept {
    for (wchar_t digit = L'0'; digit <= L'9'; ++digit)
        if (!Stays(kInInteger, digit) || !Stays(kInFraction, digit) || Next(kAfterZero, digit) != kInInteger)
            return false;
    return Next(kInInteger, L'.') == kInFraction && Next(kAfterZero, L'.') == kInFraction;
}

/// Whether a quoted text goes on alike behind its quote, an escaped character and any other.
bool CLexTable::HasPlainQuotes() const noexcept {
    return mNext[kSingleOpen] == mNext[kInSingle] && mNext[kSingleEscaped] == mNext[kInSingle] &&
           mNext[kDoubleOpen] == mNext[kInDouble] && mNext[kDoubleEscaped] == mNext[kInDouble];
}

}  // namespace io
