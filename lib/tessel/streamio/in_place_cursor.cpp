#include "tessel/streamio/in_place_cursor.h"

#include "tessel/streamio/number_text.h"
#include "tessel/streamio/utf8.h"

#include <algorithm>
#include <cfloat>

namespace io {

namespace {

bool IsDigit(wchar_t ch) noexcept {
    return ch >= L'0' && ch <= L'9';
}

constexpr std::ptrdiff_t kExactDigits = 15;  // that many fit a double's 53 bits

/// Powers of ten, which are exact too: so the quotient of digits and one of them is rounded once, as the
/// number itself is, where results are not kept in a wider format.
constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                              1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

}  // namespace

/// Lexes a number of few digits and at most a point, which needs no conversion to speak of.
bool CInPlaceCursor::LexShortNumber(CToken& token) noexcept {
    CUnits     next     = mNext;
    const bool negative = *next == L'-';
    if (negative || *next == L'+') ++next;
    const CUnits  first  = next;
    std::uint64_t digits = 0;  // what they come to when they are too many does not count
    for (; next != mEnd && IsDigit(*next); ++next)
        digits = digits * 10 + static_cast<unsigned>(*next - L'0');
    const CUnits point = next;
    if (point == first || point - first > kExactDigits || !IsKnown(point)) return false;
    double    value = static_cast<double>(digits);
    ELexState state = *first == L'0' && point == first + 1 ? kAfterZero : kInInteger;
    if (*point == L'.') {
        for (++next; next != mEnd && IsDigit(*next); ++next)
            digits = digits * 10 + static_cast<unsigned>(*next - L'0');
        if (next - first > kExactDigits || !IsKnown(next) || FLT_EVAL_METHOD != 0) return false;
        value = static_cast<double>(digits) / kPowers[next - point - 1];
        state = kInFraction;
    }
    state = Table().Next(state, *next);
    if (state != kEndInt && state != kEndDouble) return false;
    token.SetNumber(state == kEndInt ? ETokenType::Int : ETokenType::Double, negative ? -value : value);
    mNext = next;
    return true;
}

bool CInPlaceCursor::LexNumber(CToken& token, ELexState state) {
    if ((state == kInInteger || state == kAfterZero || state == kAfterSign) && LexShortNumber(token))
        return true;
    CUnits end = mNext;
    while (!CBase_grammar::IsFinal(state)) {
        if (!IsKnown(++end)) return false;
        state = Table().Next(state, *end);
    }
    if (state != kEndInt && state != kEndDouble) return false;
    const std::wstring_view text(mNext, end);
    double                  value = 0.0;
    if (!ParseDecimal(text, &value)) return false;
    token.SetNumber(state == kEndInt ? ETokenType::Int : ETokenType::Double, value);
    mNext = end;
    return true;
}

/// A quoted text with backslashes or characters from 128 on.
bool CInPlaceCursor::LexEscaped(CToken& token, const CQuotedStates& states) {
    std::wstring text;
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
