#include "tessel/streamio/token_grammar.h"

#include "tessel/platform/platform.h"

namespace io {

CToken_grammar::CToken_grammar() {
    mCDataOpen  = L"$begin_cdata$";
    mCDataClose = L"$end_cdata$";
    CToken_grammar::InitCharFlags();
    CToken_grammar::InitStateTables();
}

void CToken_grammar::InitCharFlags() {
    CBase_grammar::InitCharFlags();
    ApplySharedFlags();
    // Hexadecimal numbers are written in lower case only: "0X1F" and "0x1F" are not one number.
    ApplyFlagRules({
        {platform::IsAlpha, nullptr, kFlagKeywordStart | kFlagKeywordChar},
        {platform::IsDigit, nullptr, kFlagKeywordChar},
        {nullptr, L"$", kFlagKeywordStart | kFlagKeywordChar | kFlagCDataMark},
        {nullptr, L"_", kFlagKeywordChar},
        {nullptr, L"0", kFlagLeadingZero},
        {nullptr, L"x", kFlagHexMark},
        {nullptr, L"abcdef", kFlagHexLetter},
    });
}

void CToken_grammar::InitStateTables() {
    CBase_grammar::InitStateTables();
    InitSharedStates();
    // clang-format off
    ApplyStateRows({
        // in                  on                                     to                    all else
        {{kStart},             {{{kClassOther, kClassEscape},         kOneCharacter},
                                {{kClassLineEnd},                     kAfterLineEnd},
                                {{kClassCarriageReturn},              kAfterCr},
                                {{kClassEnd},                         kEndEof},
                                {{kClassComment},                     kInComment},
                                {{kClassWhiteSpace},                  kInWhiteSpace},
                                {{kClassKeywordStart},                kInWord},
                                {{kClassLeadingZero},                 kAfterZero},
                                {{kClassDigit},                       kInInteger},
                                {{kClassSign},                        kAfterSign},
                                {{kClassPoint},                       kAfterPoint},
                                {{kClassSingleQuote},                 kSingleOpen},
                                {{kClassDoubleQuote},                 kDoubleOpen}},        kEndError},
        {{kInWord},            {{{kClassKeywordChar},                 kInWord}},            kEndWord},

        {{kInCData},           {{{kClassCDataMark},                   kInCDataTag},
                                {{kClassEnd},                         kEndCData}},          kInCData},
        {{kInCDataTag},        {{{kClassKeywordChar},                 kInCDataTag}},        kEndCData},

        {{kAfterZero},         {{{kClassHexMark},                     kAfterHexMark},
                                {{kClassDigit},                       kInInteger},
                                {{kClassPoint},                       kInFraction},
                                {{kClassExponent},                    kAfterExponent}},     kEndInt},
        {{kAfterSign},         {{{kClassDigit},                       kInInteger},
                                {{kClassPoint},                       kAfterSignPoint}},    kEndSymbol},
        {{kAfterPoint},        {{{kClassDigit},                       kInFraction}},        kEndSymbol},
        {{kInInteger},         {{{kClassDigit},                       kInInteger},
                                {{kClassPoint},                       kInFraction},
                                {{kClassExponent},                    kAfterExponent}},     kEndInt},
        {{kAfterSignPoint},    {{{kClassDigit},                       kInFraction}},        kEndSignPoint},
        {{kAfterHexMark},      {{{kClassDigit, kClassHexLetter},      kInHex}},             kEndHexMark},
        {{kInHex},             {{{kClassDigit, kClassHexLetter},      kInHex}},             kEndHex},
        {{kInFraction},        {{{kClassDigit},                       kInFraction},
                                {{kClassExponent},                    kAfterExponent}},     kEndDouble},
        {{kAfterExponent},     {{{kClassDigit},                       kInExponent},
                                {{kClassSign},                        kAfterExponentSign}}, kEndExponent},
        {{kAfterExponentSign}, {{{kClassDigit},                       kInExponent}},        kEndExponentSign},
        {{kInExponent},        {{{kClassDigit},                       kInExponent}},        kEndDouble},
    });
    // clang-format on
}

ECharClass CToken_grammar::Classify(LexChar ch, ELexState state) const noexcept {
    if (ch == kEndOfInput) return kClassEnd;
    if (ch < 0 || ch >= kCharMax) return kClassInvalid;
    const std::uint32_t flags = CharFlags(ch);
    if (flags == 0) return kClassOther;
    const ECharClass anywhere = ClassifyAnywhere(flags);
    return anywhere != kClassOther ? anywhere : ClassifyByState(flags, state);
}

ECharClass CToken_grammar::ClassifyByState(std::uint32_t flags, ELexState state) const noexcept {
    if (state == kStart) {
        if (flags & kFlagKeywordStart) return kClassKeywordStart;
        if (flags & kFlagLeadingZero) return kClassLeadingZero;
    } else if (state == kInWord) {
        if (flags & kFlagKeywordChar) return kClassKeywordChar;
    } else if (ModeOf(state) == kModeQuoted) {
        return flags & kFlagEscape ? kClassEscape : kClassOther;
    } else if (state == kInCData) {
        return flags & kFlagCDataMark ? kClassCDataMark : kClassOther;
    } else if (state == kInCDataTag) {
        return flags & kFlagKeywordChar ? kClassKeywordChar : kClassOther;
    } else if (state == kAfterZero) {
        if (flags & kFlagHexMark) return kClassHexMark;
    } else if (state == kAfterHexMark || state == kInHex) {
        if (flags & kFlagHexLetter) return kClassHexLetter;
    }
    return ClassifyNumeric(flags);
}

void CToken_grammar::AddKeywordStartChars(const wchar_t* chars) {
    SetFlagsOf(chars, kFlagKeywordStart);
}
void CToken_grammar::AddKeywordChars(const wchar_t* chars) {
    SetFlagsOf(chars, kFlagKeywordChar);
}
void CToken_grammar::RemoveKeywordStartChars(const wchar_t* chars) {
    ClearFlagsOf(chars, kFlagKeywordStart);
}
void CToken_grammar::RemoveKeywordChars(const wchar_t* chars) {
    ClearFlagsOf(chars, kFlagKeywordChar);
}

}  // namespace io
