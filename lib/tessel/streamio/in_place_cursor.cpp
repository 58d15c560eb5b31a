#include "tessel/streamio/in_place_cursor.h"

#include "tessel/streamio/number_text.h"
#include "tessel/streamio/utf8.h"

#include <algorithm>

namespace io {

bool CInPlaceCursor::LexWord(CToken& token) {
    const CUnits start = mNext;
    const CUnits end   = EndOfRun(kInWord, start + 1);
    if (!IsKnown(end) || Table().Next(kInWord, *end) != kEndWord || !mRules->mWords) return false;
    const std::wstring_view text(start, end);
    const ETokenType        type = mRules->mGrammar->TypeOfAsciiWord(text);
    if (type == ETokenType::CData) return false;
    if (type == ETokenType::Keyword) {
        mRules->mTexts->Set(token, type, text);
        if (mRules->mIsDefault) token.Note(CToken::kIsWord);
    } else {
        token = CToken(type);
    }
    mNext = end;
    return true;
}

bool CInPlaceCursor::LexName(CToken& token) {
    if (Skip() != kInWord) return Lex(token);
    mToken                           = mNext;
    CRecentTexts&           texts    = *mRules->mTexts;
    const std::wstring_view expected = texts.ExpectedName();
    if (!expected.empty() && mRules->mWords && IsWordHere(expected) && texts.SetExpectedName(token)) {
        mNext += expected.size();
        return true;
    }
    if (!LexWord(token)) return false;
    texts.NoteName();
    return true;
}

bool CInPlaceCursor::LexQuoted(CToken& token, const CQuotedStates& states) {
    const CUnits text = mNext + 1;
    const CUnits end  = EndOfRun(states.mInside, text);
    if (!IsKnown(end) || Table().Next(states.mInside, *end) != states.mClosed)
        return LexEscaped(token, states);
    if (!IsKnown(end + 1)) return false;
    mRules->mTexts->Set(token, states.mType, {text, end});
    mNext = end + 1;
    return true;
}

/// Lexes a number. One of few digits and at most a point needs no conversion to speak of.
bool CInPlaceCursor::LexNumber(CToken& token, ELexState state) {
    CUnits first    = mNext;
    bool   negative = false;
    if (state == kAfterSign) {
        negative = *first == L'-';
        if (negative || *first == L'+') ++first;
    } else if (state != kInInteger && state != kAfterZero) {
        return LexAnyNumber(token, state, mNext + 1);
    }
    std::uint64_t digits = 0;
    const CUnits  point  = AddDigits(first, digits);
    if (point == first) return LexAnyNumber(token, state, first);
    CDecimal decimal{digits, point - first, 0};
    CUnits   next = point;
    state         = *first == L'0' && decimal.mCount == 1 ? kAfterZero : kInInteger;
    if (point != mEnd && *point == L'.') {
        next    = AddDigits(point + 1, digits);
        decimal = {digits, next - first - 1, next - point - 1};
        state   = kInFraction;
    }
    if (!IsKnown(next)) return false;
    const ELexState end = Table().Next(state, *next);
    if (end != kEndInt && end != kEndDouble) return LexAnyNumber(token, state, next);
    if (!decimal.IsExact()) return LexManyDigits(token, decimal, next);
    const double value = decimal.Quotient();
    token.SetNumber(end == kEndInt ? ETokenType::Int : ETokenType::Double, negative ? -value : value);
    mNext = next;
    return true;
}

CInPlaceCursor::CUnits CInPlaceCursor::AddDigits(CUnits next, std::uint64_t& value) const noexcept {
    for (; next != mEnd; ++next) {
        const auto digit = static_cast<std::uint32_t>(*next) - static_cast<std::uint32_t>(L'0');
        if (digit > 9) break;
        value = value * 10 + digit;
    }
    return next;
}

/// Lexes the number that these digits make, which end before `next`.
bool CInPlaceCursor::LexManyDigits(CToken& token, CDecimal decimal, CUnits next) {
    double value = 0.0;
    if (!decimal.Get(&value)) return LexAnyNumber(token, Table().Next(kStart, *mNext), mNext + 1);
    const bool whole = std::find(mNext, next, L'.') == next;
    token.SetNumber(whole ? ETokenType::Int : ETokenType::Double, *mNext == L'-' ? -value : value);
    mNext = next;
    return true;
}

/// Lexes the number of which the characters before `next` have led to this state.
bool CInPlaceCursor::LexAnyNumber(CToken& token, ELexState state, CUnits next) {
    for (;; ++next) {
        if (!IsKnown(next)) return false;
        state = Table().Next(state, *next);
        if (CBase_grammar::IsFinal(state)) break;
    }
    double value = 0.0;
    if ((state != kEndInt && state != kEndDouble) || !ParseDecimal({mNext, next}, &value)) return false;
    token.SetNumber(state == kEndInt ? ETokenType::Int : ETokenType::Double, value);
    mNext = next;
    return true;
}

/// A quoted text with backslashes or characters from 128 on.
bool CInPlaceCursor::LexEscaped(CToken& token, const CQuotedStates& states) {
    std::wstring& text = *mRules->mComposed;
    text.clear();
    for (CUnits next = mNext + 1; next != mEnd;) {
        if (!CLexTable::Has(*next)) {
            if (!DecodeInText(next, states.mInside, text)) return false;
            continue;
        }
        const ELexState state = Table().Next(states.mInside, *next);
        if (state == states.mInside) {
            const CUnits end = EndOfRun(state, next);
            text.append(next, end);
            next = end;
        } else if (state == states.mEscape) {
            if (!IsKnown(next + 1) || Table().Next(state, next[1]) != states.mEscaped) return false;
            text += CBase_grammar::MeantBehindEscape(next[1]);
            next += 2;
        } else {
            if (state != states.mClosed || !IsKnown(next + 1)) return false;
            mRules->mTexts->Set(token, states.mType, text);
            mNext = next + 1;
            return true;
        }
    }
    return false;
}

/// Appends one character from 128 on, if it is whole and stands for itself.
bool CInPlaceCursor::DecodeInText(CUnits& next, ELexState state, std::wstring& text) const {
    auto        ch     = static_cast<LexChar>(*next);
    std::size_t length = 1;
    if (mRules->mUtf8) {
        length = Utf8Length(ch);
        if (length == 1 || static_cast<std::size_t>(mEnd - next) < length) return false;
        ch = Utf8LeadBits(ch, length);
        for (std::size_t i = 1; i < length; ++i) {
            if (!IsUtf8Continuation(static_cast<LexChar>(*next), i, static_cast<LexChar>(next[i])))
                return false;
            ch = (ch << 6) | (static_cast<LexChar>(next[i]) & 0x3F);
        }
    }
    if (mRules->mGrammar->Classify(ch, state) != kClassOther) return false;
    text += static_cast<wchar_t>(ch);
    next += length;
    return true;
}

}  // namespace io
