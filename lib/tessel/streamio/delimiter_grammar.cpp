#include "tessel/streamio/delimiter_grammar.h"

namespace io {

CDelimiter_grammar::CDelimiter_grammar() {
    CDelimiter_grammar::InitCharFlags();
    CDelimiter_grammar::InitStateTables();
}

void CDelimiter_grammar::InitCharFlags() {
    CBase_grammar::InitCharFlags();
    ApplySharedFlags();
}

void CDelimiter_grammar::InitStateTables() {
    CBase_grammar::InitStateTables();
    InitSharedStates();
    mActions[kEndWord] = ELexAction::kEndDelimited;
    // clang-format off
    ApplyStateRows({
        // in                  on                                                                     to                    all else
        {{kStart},             {{{kClassOther, kClassExponent},                                       kInWord},
                                {{kClassLineEnd},                                                     kAfterLineEnd},
                                {{kClassCarriageReturn},                                              kAfterCr},
                                {{kClassEnd},                                                         kEndEof},
                                {{kClassComment},                                                     kInComment},
                                {{kClassWhiteSpace},                                                  kInWhiteSpace},
                                {{kClassSymbol},                                                      kOneCharacter},
                                {{kClassLeadingZero, kClassDigit},                                    kInInteger},
                                {{kClassSign},                                                        kAfterSign},
                                {{kClassPoint},                                                       kAfterPoint},
                                {{kClassSingleQuote},                                                 kSingleOpen},
                                {{kClassDoubleQuote},                                                 kDoubleOpen}},        kEndError},
        {{kInWord},            {{{kClassOther, kClassDigit, kClassSign, kClassPoint, kClassExponent}, kInWord}},            kEndWord},

        {{kAfterSign},         {{{kClassDigit},                                                       kInInteger},
                                {{kClassPoint},                                                       kAfterSignPoint},
                                {{kClassOther, kClassSign, kClassExponent},                           kInWord}},            kEndSymbol},
        {{kAfterPoint},        {{{kClassDigit},                                                       kInFraction},
                                {{kClassOther, kClassSign, kClassPoint, kClassExponent},              kInWord}},            kEndSymbol},
        {{kInInteger},         {{{kClassDigit},                                                       kInInteger},
                                {{kClassPoint},                                                       kInFraction},
                                {{kClassExponent},                                                    kAfterExponent},
                                {{kClassOther, kClassSign},                                           kInWord}},            kEndInt},
        {{kAfterSignPoint},    {{{kClassDigit},                                                       kInFraction},
                                {{kClassOther, kClassSign, kClassPoint, kClassExponent},              kInWord}},            kEndWord},
        {{kInFraction},        {{{kClassDigit},                                                       kInFraction},
                                {{kClassExponent},                                                    kAfterExponent},
                                {{kClassOther, kClassSign, kClassPoint},                              kInWord}},            kEndDouble},
        {{kAfterExponent},     {{{kClassDigit},                                                       kInExponent},
                                {{kClassSign},                                                        kAfterExponentSign},
                                {{kClassOther, kClassPoint, kClassExponent},                          kInWord}},            kEndWord},
        {{kAfterExponentSign}, {{{kClassDigit},                                                       kInExponent},
                                {{kClassOther, kClassSign, kClassPoint, kClassExponent},              kInWord}},            kEndWord},
        {{kInExponent},        {{{kClassDigit},                                                       kInExponent},
                                {{kClassOther, kClassSign, kClassPoint, kClassExponent},              kInWord}},            kEndDouble},
    });
    // clang-format on
}

ECharClass CDelimiter_grammar::Classify(LexChar ch, ELexState state) const noexcept {
    if (ch == kEndOfInput) return kClassEnd;
    if (ch < 0 || ch >= kCharMax) return kClassInvalid;
    const std::uint32_t flags = CharFlags(ch);
    if (flags == 0) return kClassOther;
    const ECharClass anywhere = ClassifyAnywhere(flags);
    if (anywhere != kClassOther) return anywhere;
    if (ModeOf(state) == kModeQuoted) return flags & kFlagEscape ? kClassEscape : kClassOther;
    return flags & kFlagSymbol ? kClassSymbol : ClassifyNumeric(flags);
}

void CDelimiter_grammar::AddSymbolChars(const wchar_t* chars) {
    SetFlagsOf(chars, kFlagSymbol);
}

}  // namespace io
