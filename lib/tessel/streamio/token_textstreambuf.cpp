#include "tessel/streamio/token_textstreambuf.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"
#include "tessel/streamio/number_text.h"

#include <algorithm>
#include <limits>

namespace io {

namespace {

/// Characters beyond the 16-bit range are two units of text.
void AppendUnits(AString& text, LexChar ch) {
    if (ch >= kCharMax) {
        text += static_cast<wchar_t>(0xD7C0 + (ch >> 10));
        ch = 0xDC00 + (ch & 0x3FF);
    }
    text += static_cast<wchar_t>(ch);
}

}  // namespace

CToken_textstreambuf::CToken_textstreambuf(std::wstreambuf* a_streambuf, const CBase_grammar& grammar,
                                           EDirection direction)
    : CToken_streambuf(a_streambuf, direction), mGrammar(grammar) {
    if (IsDefaultGrammar()) {
        mTable = &CToken_grammar_default::SharedTable();
    } else {
        mOwnTable = std::make_unique<CLexTable>(grammar);
        mTable    = mOwnTable.get();
    }
    mInPlace.mGrammar   = &grammar;
    mInPlace.mTable     = mTable;
    mInPlace.mIsDefault = IsDefaultGrammar();
    mInPlace.mTexts     = &mRecentTexts;
    mInPlace.mComposed  = &mComposed;
}

bool CToken_textstreambuf::IsDefaultGrammar() const noexcept {
    return &mGrammar == &CToken_grammar_default::Shared();
}

void CToken_textstreambuf::ReadToken(CToken& token) {
    token.Clear();
    if (ReadTokenInPlace(token)) return;
    mText.clear();
    mSpecial      = ESpecial::kNone;
    mCDataMatched = 0;

    ELexState state = kStart;
    for (;;) {
        if (state == kStart) MarkTokenStart();
        mCh   = PeekChar();
        mNext = mGrammar.Transition(state, mGrammar.Classify(mCh, state));
        if (Act(mGrammar.Action(mNext), token)) return;
        state = mNext;
        if (IsRunState(state)) PassRun(state);
    }
}

/// The states in which most characters of long tokens are met.
bool CToken_textstreambuf::IsRunState(ELexState state) noexcept {
    return state == kInSingle || state == kInDouble || state == kInCData || state == kInComment;
}

/// What the loop above would do, one by one, with the characters that lie ready and leave the state as it
/// is: they are appended as they stand, or dropped.
void CToken_textstreambuf::PassRun(ELexState state) {
    if (!IsAsciiPlain() || !mTable->IsPlain()) return;
    const std::wstring_view units = ReadyUnits();
    std::size_t             run   = 0;
    while (run != units.size() && mTable->Stays(state, units[run]))
        ++run;
    if (run == 0) return;
    if (mGrammar.ModeOf(state) != kModeComment || ReturnsComments()) mText.append(units.substr(0, run));
    TakeUnits(run);
}

bool CToken_textstreambuf::Act(ELexAction action, CToken& token) {
    switch (action) {
        case ELexAction::kInvalid:
            return ActInvalid(token);
        case ELexAction::kAppendOrSkip:
            return ActAppendOrSkip();
        case ELexAction::kAppend:
            AppendAndConsume();
            return false;
        case ELexAction::kAppendCased:
            mText += Cased(mCh);
            GetChar();
            return false;
        case ELexAction::kConsume:
            GetChar();
            return false;
        case ELexAction::kEscaped:
            return ActEscaped();
        case ELexAction::kContinueLine:
            mText += L'\n';
            GetChar();
            return false;
        case ELexAction::kWordCharacter:
            return ActWordCharacter(token);
        case ELexAction::kCDataTag:
            return ActCDataTag();
        case ELexAction::kEmit:
            return Emit(token, mGrammar.TokenTypeOf(mNext));
        case ELexAction::kEndLine:
            return ActEndLine(token);
        case ELexAction::kEndSymbol:
            return ActEndSymbol(token);
        case ELexAction::kEndWord:
            return ActEndWord(token);
        case ELexAction::kEndDelimited:
            return ActEndDelimited(token);
        case ELexAction::kEndCData:
            return ActEndCData(token);
        case ELexAction::kEndSkippable:
            return ActEndSkippable(token);
        case ELexAction::kEndPushBackOne:
            return ActEndPushBack(token, 1);
        case ELexAction::kEndPushBackTwo:
            return ActEndPushBack(token, 2);
    }
    return ActInvalid(token);
}

// --- gathering

void CToken_textstreambuf::Append(LexChar ch) {
    mText += static_cast<wchar_t>(ch);
}

void CToken_textstreambuf::AppendAndConsume() {
    Append(mCh);
    GetChar();
}

wchar_t CToken_textstreambuf::Cased(LexChar ch) const noexcept {
    const auto unit = static_cast<wchar_t>(ch);
    switch (CaseMode()) {
        case kCaseUpper:
            return AString::UpperChar(unit);
        case kCaseLower:
            return AString::LowerChar(unit);
        default:
            return unit;
    }
}

bool CToken_textstreambuf::ActInvalid(CToken& token) {
    TESSEL_ASSERT_TEXT(false, "!\"Transition to an invalid state\"");
    GetChar();
    return EmitPlain(token, ETokenType::Error);
}

bool CToken_textstreambuf::ActAppendOrSkip() {
    const EStateMode mode = mGrammar.ModeOf(mNext);
    const bool       skip =
        (mode == kModeComment && !ReturnsComments()) || (mode == kModeWhiteSpace && !ReturnsWhiteSpace());
    if (!skip) Append(mCh);
    GetChar();
    return false;
}

bool CToken_textstreambuf::ActEscaped() {
    mText += CBase_grammar::MeantBehindEscape(static_cast<wchar_t>(mCh));
    GetChar();
    return false;
}

bool CToken_textstreambuf::ActWordCharacter(CToken& token) {
    if (mSpecial == ESpecial::kNone) {
        mText += Cased(mCh);
        GetChar();
        return false;
    }
    const std::wstring& spelling = SpecialSpelling();
    const bool          matches  = mText.size() < spelling.size() &&
                         AString::LowerChar(static_cast<wchar_t>(mCh)) == spelling[mText.size()];
    if (!matches) return GiveUpSpecialNumber(token);
    AppendAndConsume();
    return false;
}

bool CToken_textstreambuf::ActCDataTag() {
    const std::wstring& tag = mGrammar.CDataClose();
    if (mCDataMatched < tag.size() && AString::LowerChar(static_cast<wchar_t>(mCh)) == tag[mCDataMatched]) {
        ++mCDataMatched;
    } else {
        mNext         = kInCData;
        mCDataMatched = 0;
    }
    AppendAndConsume();
    return false;
}

// --- completing

bool CToken_textstreambuf::Emit(CToken& token, ETokenType type) {
    if (IsNumericType(type)) return EmitNumber(token, type);
    if (!IsTextType(type)) return EmitPlain(token, type);
    token.SetText(type, mText);
    return true;
}

bool CToken_textstreambuf::EmitNumber(CToken& token, ETokenType type) {
    double     value = 0.0;
    const bool valid =
        type == ETokenType::Hex
            ? ParseHexadecimal(std::wstring_view(mText).substr(mGrammar.HexPrefix().size()), &value)
            : ParseDecimal(mText, &value);
    if (!valid) {
        token.SetText(ETokenType::SingleQuotedText, mText);
        return true;
    }
    token.SetNumber(type, value);
    if (mKeepText) token.KeepSpelling(mText);
    return true;
}

bool CToken_textstreambuf::EmitPlain(CToken& token, ETokenType type) {
    token = CToken(type);
    if (mKeepText && !mText.empty()) token.KeepSpelling(mText);
    return true;
}

bool CToken_textstreambuf::ActEndLine(CToken& token) {
    CountLine();
    return EmitPlain(token, ETokenType::Eol);
}

bool CToken_textstreambuf::ActEndSymbol(CToken& token) {
    const std::wstring& infinity = mGrammar.InfinitySpelling();
    if (mSpecialNumbers && mCh != kEndOfInput && mText == infinity.substr(0, 1)) {
        const wchar_t lowered = AString::LowerChar(static_cast<wchar_t>(mCh));
        if (lowered == infinity[1]) mSpecial = ESpecial::kInfinity;
        if (lowered == mGrammar.NanSpelling()[1]) mSpecial = ESpecial::kNan;
        if (mSpecial != ESpecial::kNone) {
            AppendAndConsume();
            mNext = kInWord;
            return false;
        }
    }
    return Emit(token, ETokenType::Symbol);
}

const std::wstring& CToken_textstreambuf::SpecialSpelling() const noexcept {
    return mSpecial == ESpecial::kInfinity ? mGrammar.InfinitySpelling() : mGrammar.NanSpelling();
}

bool CToken_textstreambuf::GiveUpSpecialNumber(CToken& token) {
    for (std::size_t i = mText.size(); i > 1; --i)
        PushBackChar(mText[i - 1]);
    mText.resize(1);
    mSpecial = ESpecial::kNone;
    return Emit(token, ETokenType::Symbol);
}

bool CToken_textstreambuf::EmitSpecialNumber(CToken& token) {
    const double value = mSpecial == ESpecial::kInfinity ? std::numeric_limits<double>::infinity()
                                                         : std::numeric_limits<double>::quiet_NaN();
    token.SetNumber(ETokenType::Double, value);
    token.KeepSpelling(mText);
    return true;
}

bool CToken_textstreambuf::ActEndWord(CToken& token) {
    if (mSpecial != ESpecial::kNone)
        return mText.size() == SpecialSpelling().size() ? EmitSpecialNumber(token)
                                                        : GiveUpSpecialNumber(token);
    const ETokenType type = mGrammar.TypeOfWord(mText);
    if (type != ETokenType::CData) return Emit(token, type);
    mText.clear();
    mNext = kInCData;
    return false;
}

bool CToken_textstreambuf::ActEndDelimited(CToken& token) {
    if (mText.size() == 1 && !platform::IsAlnum(mText[0])) return Emit(token, ETokenType::Symbol);
    return ActEndWord(token);
}

bool CToken_textstreambuf::ActEndCData(CToken& token) {
    const std::size_t tagLength = mGrammar.CDataClose().size();
    if (mCDataMatched == tagLength) {
        mText.resize(mText.size() - tagLength);
        return Emit(token, ETokenType::CData);
    }
    if (mCh == kEndOfInput) return Emit(token, ETokenType::CData);
    mNext         = kInCData;
    mCDataMatched = 0;
    AppendAndConsume();
    return false;
}

bool CToken_textstreambuf::ActEndSkippable(CToken& token) {
    const bool comment = mNext == kEndComment;
    if (comment ? ReturnsComments() : ReturnsWhiteSpace()) return Emit(token, mGrammar.TokenTypeOf(mNext));
    mText.clear();
    mNext = kStart;
    return false;
}

bool CToken_textstreambuf::ActEndPushBack(CToken& token, std::size_t count) {
    for (; count != 0; --count) {
        PushBackChar(mText.back());
        mText.pop_back();
    }
    return Emit(token, mGrammar.TokenTypeOf(mNext));
}

// --- skipping

void CToken_textstreambuf::SkipLine(AString* line) {
    DropPushedBackTokens();
    for (;;) {
        const LexChar    ch        = PeekChar();
        const ECharClass charClass = mGrammar.Classify(ch, kStart);
        if (charClass == kClassEnd) break;
        GetChar();
        if (charClass == kClassLineEnd) {
            CountLine();
            break;
        }
        if (line != nullptr) AppendUnits(*line, ch);
    }
    ReadCurrentToken();
    StartLine();
}

void CToken_textstreambuf::SkipToEol() {
    SkipLine(nullptr);
}
void CToken_textstreambuf::NewLine(AString& line) {
    SkipLine(&line);
}

}  // namespace io
