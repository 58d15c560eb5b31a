#include "tessel/streamio/base_grammar.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"

#include <algorithm>
#include <cwchar>

namespace io {

namespace {

constexpr LexChar kRuleChars = 256;  // flags by kind are given to these codes only

/// What a character after a backslash stands for; any other stands for itself.
constexpr struct {
    wchar_t mWritten;
    wchar_t mMeant;
} kEscapes[] = {
    {L'0', L'\0'}, {L'a', L'\a'}, {L'b', L'\b'}, {L'f', L'\f'},
    {L'n', L'\n'}, {L'r', L'\r'}, {L't', L'\t'}, {L'v', L'\v'},
};

/// A text as the tables see it without a stream: its NUL is a character, behind it the input ends.
class CTextScanner {
  public:
    explicit CTextScanner(const wchar_t* text) : mText(text), mLength(std::wcslen(text)) {}

    LexChar     Current() const { return mPosition <= mLength ? LexChar{mText[mPosition]} : kEndOfInput; }
    void        Advance() { ++mPosition; }
    std::size_t Position() const { return mPosition < mLength ? mPosition : mLength; }

  private:
    const wchar_t* mText;
    std::size_t    mLength;
    std::size_t    mPosition = 0;
};

}  // namespace

void CBase_grammar::AddCommentChars(const wchar_t* chars) {
    SetFlagsOf(chars, kFlagComment);
    if (mCommentChar == 0) FindCommentChar();
}

void CBase_grammar::RemoveCommentChars(const wchar_t* chars) {
    ClearFlagsOf(chars, kFlagComment);
    if (mCommentChar != 0 && !HasFlags(mCommentChar, kFlagComment)) FindCommentChar();
}

void CBase_grammar::FindCommentChar() {
    mCommentChar = 0;
    for (LexChar ch = 0; ch < kCharMax; ++ch) {
        if (!HasFlags(ch, kFlagComment)) continue;
        mCommentChar = static_cast<wchar_t>(ch);
        return;
    }
}

void CBase_grammar::SetCharFlags(LexChar ch, std::uint32_t flags) {
    const LexChar the_char = ch;
    TESSEL_ASSERT(the_char < kCharMax);
    if (ch < 0 || ch >= kCharMax) return;
    auto& page = mPages[static_cast<std::size_t>(ch >> 8)];
    if (!page) page = std::make_unique<CPage>();
    (*page)[static_cast<std::size_t>(ch & 0xFF)] |= flags;
}

void CBase_grammar::ClearCharFlags(LexChar ch, std::uint32_t flags) {
    if (ch < 0 || ch >= kCharMax) return;
    if (const auto& page = mPages[static_cast<std::size_t>(ch >> 8)])
        (*page)[static_cast<std::size_t>(ch & 0xFF)] &= ~flags;
}

void CBase_grammar::SetFlagsOf(const wchar_t* chars, std::uint32_t flags) {
    for (; *chars != 0; ++chars)
        SetCharFlags(*chars, flags);
}

void CBase_grammar::ClearFlagsOf(const wchar_t* chars, std::uint32_t flags) {
    for (; *chars != 0; ++chars)
        ClearCharFlags(*chars, flags);
}

void CBase_grammar::ApplyFlagRules(std::initializer_list<CFlagRule> rules) {
    for (const CFlagRule& rule : rules) {
        if (rule.mTest == nullptr) {
            SetFlagsOf(rule.mChars, rule.mFlags);
            continue;
        }
        for (LexChar ch = 0; ch < kRuleChars; ++ch)
            if (rule.mTest(static_cast<wchar_t>(ch))) SetCharFlags(ch, rule.mFlags);
    }
}

void CBase_grammar::ApplySharedFlags() {
    SetCharFlags(0, kFlagLineEnd);
    ApplyFlagRules({
        {platform::IsDigit, nullptr, kFlagDigit},
        {platform::IsSpace, nullptr, kFlagWhiteSpace},
        {platform::IsControl, nullptr, kFlagWhiteSpace},
        {nullptr, L"\n", kFlagLineEnd},
        {nullptr, L"\r", kFlagCarriageReturn},
        {nullptr, L"+-", kFlagSign},
        {nullptr, L"-", kFlagMinus},
        {nullptr, L".", kFlagPoint},
        {nullptr, L"\"", kFlagDoubleQuote},
        {nullptr, L"'", kFlagSingleQuote},
        {nullptr, L"eE", kFlagExponent},
        {nullptr, L"\\", kFlagEscape},
    });
}

ECharClass CBase_grammar::ClassifyAnywhere(std::uint32_t flags) noexcept {
    if (flags & kFlagLineEnd) return kClassLineEnd;
    if (flags & kFlagCarriageReturn) return kClassCarriageReturn;
    if (flags & kFlagComment) return kClassComment;
    if (flags & kFlagWhiteSpace) return kClassWhiteSpace;
    if (flags & kFlagDoubleQuote) return kClassDoubleQuote;
    if (flags & kFlagSingleQuote) return kClassSingleQuote;
    return kClassOther;
}

ECharClass CBase_grammar::ClassifyNumeric(std::uint32_t flags) noexcept {
    if (flags & kFlagExponent) return kClassExponent;
    if (flags & kFlagDigit) return kClassDigit;
    if (flags & kFlagSign) return kClassSign;
    if (flags & kFlagPoint) return kClassPoint;
    return kClassOther;
}

void CBase_grammar::InitCharFlags() {
    for (auto& page : mPages)
        page.reset();
    mCommentChar = 0;
}

void CBase_grammar::ApplyStateRows(std::initializer_list<CStateRow> rows) {
    for (const CStateRow& row : rows)
        for (const ELexState state : row.mIn) {
            auto& transitions = mTransitions[state];
            transitions.fill(row.mElse);
            transitions[kClassInvalid] = kEndError;
            for (const CArc& arc : row.mArcs)
                for (const ECharClass charClass : arc.mOn)
                    transitions[charClass] = arc.mTo;
        }
}

void CBase_grammar::InitStateTables() {
    for (auto& transitions : mTransitions)
        transitions.fill(kEndError);
    mActions.fill(ELexAction::kInvalid);
    mModes.fill(kModePlain);
    mTypes.fill(ETokenType::Null);

    static constexpr struct {
        ELexState  mState;
        ETokenType mType;
    } kFinalTypes[] = {
        {kEndError, ETokenType::Error},
        {kEndEol, ETokenType::Eol},
        {kEndEof, ETokenType::Eof},
        {kEndSymbol, ETokenType::Symbol},
        {kEndWord, ETokenType::Keyword},
        {kEndDouble, ETokenType::Double},
        {kEndInt, ETokenType::Int},
        {kEndSingle, ETokenType::SingleQuotedText},
        {kEndDoubleQuoted, ETokenType::DoubleQuotedText},
        {kEndCData, ETokenType::CData},
        {kEndComment, ETokenType::Comment},
        {kEndWhiteSpace, ETokenType::WhiteSpace},
        {kEndSignPoint, ETokenType::Symbol},
        {kEndExponent, ETokenType::Double},
        {kEndExponentSign, ETokenType::Double},
        {kEndHexMark, ETokenType::Short},  // odd, and kept: "0x" alone reads as a `Short` and a word
        {kEndHex, ETokenType::Hex},
    };
    static_assert(std::size(kFinalTypes) == kStateCount - kFirstFinalState, "one row for each final state");
    for (const auto& row : kFinalTypes)
        mTypes[row.mState] = row.mType;
}

void CBase_grammar::InitSharedStates() {
    using enum ELexAction;
    static constexpr struct {
        ELexState  mState;
        EStateMode mMode;
        ELexAction mAction;
    } kTraits[] = {
        {kStart, kModePlain, kInvalid},
        {kInComment, kModeComment, kAppendOrSkip},
        {kInWhiteSpace, kModeWhiteSpace, kAppendOrSkip},
        {kOneCharacter, kModePlain, kAppendOrSkip},
        {kAfterLineEnd, kModePlain, kConsume},
        {kInWord, kModeWord, kWordCharacter},
        {kSingleOpen, kModeQuoted, kConsume},
        {kDoubleOpen, kModeQuoted, kConsume},
        {kAfterZero, kModeNumber, kAppend},
        {kAfterSign, kModeNumber, kAppend},
        {kAfterPoint, kModeNumber, kAppend},
        {kInInteger, kModeNumber, kAppend},
        {kAfterCr, kModePlain, kConsume},
        {kInSingle, kModeQuoted, kAppend},
        {kInDouble, kModeQuoted, kAppend},
        {kSingleEscape, kModeQuoted, kConsume},
        {kDoubleEscape, kModeQuoted, kConsume},
        {kSingleEscapeCr, kModeQuoted, kContinueLine},
        {kDoubleEscapeCr, kModeQuoted, kContinueLine},
        {kSingleEscaped, kModeQuoted, kEscaped},
        {kDoubleEscaped, kModeQuoted, kEscaped},
        {kSingleClosed, kModeQuoted, kConsume},
        {kDoubleClosed, kModeQuoted, kConsume},
        {kInCData, kModeCData, kAppend},
        {kInCDataTag, kModeCData, kCDataTag},
        {kAfterSignPoint, kModeNumber, kAppend},
        {kAfterHexMark, kModeHex, kAppend},
        {kInHex, kModeHex, kAppendCased},
        {kInFraction, kModeNumber, kAppend},
        {kAfterExponent, kModeNumber, kAppend},
        {kInExponent, kModeNumber, kAppend},
        {kAfterExponentSign, kModeNumber, kAppend},
        {kEndError, kModePlain, kInvalid},
        {kEndEol, kModePlain, kEndLine},
        {kEndEof, kModePlain, kEmit},
        {io::kEndSymbol, kModePlain, ELexAction::kEndSymbol},
        {io::kEndWord, kModePlain, ELexAction::kEndWord},
        {kEndDouble, kModePlain, kEmit},
        {kEndInt, kModePlain, kEmit},
        {kEndSingle, kModePlain, kEmit},
        {kEndDoubleQuoted, kModePlain, kEmit},
        {io::kEndCData, kModePlain, ELexAction::kEndCData},
        {kEndComment, kModePlain, kEndSkippable},
        {kEndWhiteSpace, kModePlain, kEndSkippable},
        {kEndSignPoint, kModePlain, kEndPushBackOne},
        {kEndExponent, kModePlain, kEndPushBackOne},
        {kEndExponentSign, kModePlain, kEndPushBackTwo},
        {kEndHexMark, kModePlain, kEndPushBackOne},
        {kEndHex, kModePlain, kEmit},
    };
    static_assert(std::size(kTraits) == kStateCount, "one row for each state");
    for (const auto& row : kTraits) {
        mModes[row.mState]   = row.mMode;
        mActions[row.mState] = row.mAction;
    }

    // clang-format off
    ApplyStateRows({
        // in                   on                                                             to                  all else
        {{kInComment},          {{{kClassLineEnd, kClassCarriageReturn, kClassEnd},            kEndComment}},      kInComment},
        {{kInWhiteSpace},       {{{kClassWhiteSpace},                                          kInWhiteSpace}},    kEndWhiteSpace},
        {{kOneCharacter},       {},                                                                                io::kEndSymbol},
        {{kAfterLineEnd},       {{{kClassInvalid},                                             kEndEol}},          kEndEol},
        {{kAfterCr},            {{{kClassLineEnd},                                             kAfterLineEnd},
                                 {{kClassInvalid},                                             kEndEol}},          kEndEol},

        {{kSingleOpen, kInSingle, kSingleEscaped},
                                {{{kClassSingleQuote},                                         kSingleClosed},
                                 {{kClassEscape},                                              kSingleEscape},
                                 {{kClassLineEnd, kClassCarriageReturn, kClassEnd},            kEndSingle}},       kInSingle},
        {{kSingleEscape},       {{{kClassEnd},                                                 kEndSingle},
                                 {{kClassCarriageReturn},                                      kSingleEscapeCr}},  kSingleEscaped},
        {{kSingleEscapeCr},     {{{kClassSingleQuote},                                         kSingleClosed},
                                 {{kClassEscape},                                              kSingleEscape},
                                 {{kClassCarriageReturn, kClassEnd},                           kEndSingle},
                                 {{kClassLineEnd},                                             kSingleOpen}},      kInSingle},
        {{kSingleClosed},       {},                                                                                kEndSingle},

        {{kDoubleOpen, kInDouble, kDoubleEscaped},
                                {{{kClassDoubleQuote},                                         kDoubleClosed},
                                 {{kClassEscape},                                              kDoubleEscape},
                                 {{kClassLineEnd, kClassCarriageReturn, kClassEnd},            kEndDoubleQuoted}}, kInDouble},
        {{kDoubleEscape},       {{{kClassEnd},                                                 kEndDoubleQuoted},
                                 {{kClassCarriageReturn},                                      kDoubleEscapeCr}},  kDoubleEscaped},
        {{kDoubleEscapeCr},     {{{kClassDoubleQuote},                                         kDoubleClosed},
                                 {{kClassEscape},                                              kDoubleEscape},
                                 {{kClassCarriageReturn, kClassEnd},                           kEndDoubleQuoted},
                                 {{kClassLineEnd},                                             kDoubleOpen}},      kInDouble},
        {{kDoubleClosed},       {},                                                                                kEndDoubleQuoted},
    });
    // clang-format on
}

ETokenType CBase_grammar::ScanType(const wchar_t* text, std::size_t* length) const {
    CTextScanner scanner(text);
    ELexState    state = Transition(kStart, Classify(scanner.Current(), kStart));
    while (!IsFinal(state)) {
        if (state != kAfterLineEnd) scanner.Advance();
        state = Transition(state, Classify(scanner.Current(), state));
    }
    if (length != nullptr) *length = scanner.Position();
    return TokenTypeOf(state);
}

wchar_t CBase_grammar::MeantBehindEscape(wchar_t written) noexcept {
    for (const auto& escape : kEscapes)
        if (written == escape.mWritten) return escape.mMeant;
    return written;
}

bool CBase_grammar::SameLetters(std::wstring_view a, std::wstring_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(),
                      [](wchar_t x, wchar_t y) { return AString::LowerChar(x) == AString::LowerChar(y); });
}

ETokenType CBase_grammar::TypeOfWord(std::wstring_view word) const noexcept {
    const auto is = [&](std::wstring_view lowered) {
        return word.size() == lowered.size() &&
               std::equal(word.begin(), word.end(), lowered.begin(),
                          [](wchar_t a, wchar_t b) { return AString::LowerChar(a) == b; });
    };
    if (is(mTrue)) return ETokenType::True;
    if (is(mFalse)) return ETokenType::False;
    return is(mCDataOpen) ? ETokenType::CData : ETokenType::Keyword;
}

bool CBase_grammar::ScanTypeInRange(const wchar_t* text, ETokenType low, ETokenType high) const {
    std::size_t length = 0;
    ETokenType  type   = ScanType(text, &length);
    if (type < low || type > high) return false;
    do {
        text += length;
        type = ScanType(text, &length);
    } while (type == ETokenType::WhiteSpace || type == ETokenType::Comment);
    return type == ETokenType::Eol;
}

}  // namespace io
