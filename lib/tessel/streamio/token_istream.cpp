#include "tessel/streamio/token_istream.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/block_index.h"
#include "tessel/streamio/index_finder.h"
#include "tessel/streamio/token_binarystreambuf.h"
#include "tessel/streamio/token_grammar_default.h"
#include "tessel/streamio/token_textstreambuf.h"

#include <locale>
#include <sstream>
#include <utility>

namespace io {

namespace {

std::unique_ptr<std::wistream> OpenFile(const AString& path, std::uint32_t flags) {
    if (flags & kOpenFastInput) return CreateFastIStream(path);
    return CreateIStream(path);
}

/// The first character tells: only the binary form begins with NUL.
std::unique_ptr<CToken_streambuf> CreateBuffer(std::wstreambuf* buffer, std::uint32_t flags,
                                               const CToken_grammar* grammar, const CToken_grammar& used) {
    using Traits     = std::char_traits<wchar_t>;
    const auto first = buffer ? buffer->sgetc() : Traits::eof();
    // Where a wide character has 16 bits, U+FFFF looks like the end.
    const bool empty = Traits::eq_int_type(first, Traits::eof()) && (!buffer || buffer->in_avail() <= 0);
    const bool binary =
        empty ? grammar == nullptr || (flags & kOpenBinary) != 0 : Traits::to_char_type(first) == 0;
    if (binary) return std::make_unique<CToken_binarystreambuf>(buffer);
    return std::make_unique<CToken_textstreambuf>(buffer, used);
}

std::unique_ptr<std::wistream> OpenFileInLocale(const AString& path, const std::locale& locale) {
    auto stream = CreateIStream(path);
    // In the classic locale a byte is a character. Not every system's own conversion goes beyond ASCII
    // there; the one that the stream has does.
    if (locale != std::locale::classic()) stream->imbue(locale);
    return stream;
}

/// A number or boolean as a name has no text, even where its spelling is kept.
std::wstring_view NameText(const CToken& token) {
    return token.IsText() ? token.View() : std::wstring_view();
}

}  // namespace

CToken_istream::CToken_istream(const AString& path, std::uint32_t flags, const CToken_grammar* grammar)
    : CToken_istream(OpenFile(path, flags), flags, grammar) {}

CToken_istream::CToken_istream(const AString& path, const char* localeName)
    : CToken_istream(OpenFileInLocale(path, std::locale(localeName)), 0, nullptr, kImbuedStream) {
    mTokenStreamBuf->SetLocale(std::locale(localeName));
}

CToken_istream::CToken_istream(std::unique_ptr<std::wistream> stream, std::uint32_t flags,
                               const CToken_grammar* grammar)
    : CToken_istream(std::move(stream), flags, grammar, kUtf8Units) {}

CToken_istream::CToken_istream(std::unique_ptr<std::wistream> stream, std::uint32_t flags,
                               const CToken_grammar* grammar, ECodeCvt codeCvt)
    : CAbstract_istream(std::move(stream)),
      mGrammar(grammar ? grammar : &CToken_grammar_default::Shared()),
      mTokenStreamBuf(CreateBuffer(CharBuffer(), flags, grammar, *mGrammar)),
      mBeginKind(KindOf(BeginKeyword())),
      mEndKind(KindOf(EndKeyword())) {
    mTokenStreamBuf->SetCodeCvt(codeCvt);
    if (flags & kOpenIgnoreCase) {
        mTokenStreamBuf->SetCaseMode(kCaseIgnore);
    } else if (flags & kOpenExactCase) {
        mTokenStreamBuf->SetCaseMode(kCaseKeep);
    }
    // The first token is read when it is first looked at: a stream that is sent to a position at
    // once reads nothing before it.
    if (CharStream() == nullptr || !CharStream()->good()) {
        mGood = false;
    } else if (flags & kOpenReadIndex) {
        OpenIndex((flags & kOpenApplyIndex) != 0);
    }
}

/// Reads the index that stands at the start of the data, and goes on behind it; else the last one of the
/// data, and comes back.
void CToken_istream::OpenIndex(bool apply) {
    const CAbstract_stream_pos start   = GetPos();
    const auto                 atIndex = [&] {
        return IsBlockNamed(AString(CBlock_index::kName)) || IsBlockNamed(AString(CBlock_index::kBaseName));
    };
    const bool atStart = atIndex();
    if (!atStart) SetPos(CAbstract_stream_pos(FindIndexBlock(*CharBuffer(), BeginKeyword())));
    Clear();
    if (atStart || atIndex()) {
        auto index = std::make_unique<CBlock_index>();
        index->Read(*this);
        if (apply) mIndex = std::move(index);
    }
    if (!atStart) {
        Clear();
        SetPos(start);
    }
}

CToken_istream::~CToken_istream() = default;

CToken_istring::CToken_istring(const AString& text, std::uint32_t flags, const CToken_grammar* grammar)
    : CToken_istream(std::make_unique<std::wistringstream>(text.Str()), flags, grammar, kWideUnits) {}

void CToken_istream::SetReadLimits(std::size_t units, std::size_t items) {
    mTokenStreamBuf->SetReadLimit(units);
    mItemsLeft = items;
}

// --- tokens

const CToken& CToken_istream::CurrentToken() {
    return Begin() ? Load() : mTokenStreamBuf->CurrentToken();
}

void CToken_istream::NextToken() {
    if (!Begin()) return;
    Load();
    mTokenStreamBuf->NextToken();
}

void CToken_istream::ReadToken(CToken& token) {
    if (!Begin()) return;
    Load();
    token = mTokenStreamBuf->TakeToken();
}

void CToken_istream::PushBackToken(const CToken& token, ACharStreamOff offset) {
    mTokenStreamBuf->PushBackToken(token, offset);
}

ACharStreamOff CToken_istream::TokenOffset() {
    if (Begin()) Load();
    return mTokenStreamBuf->TokenOffset();
}

std::uint32_t CToken_istream::LineNumber() const {
    return mTokenStreamBuf->LineNumber();
}

bool CToken_istream::IsCommaOptional() const {
    const EFormatKind kind = mTokenStreamBuf->FormatKind();
    return kind == kFormatBinary || kind == kFormatBinarySmallest;
}

void CToken_istream::Fail() {
    mGood = false;
    if (mSkipOnMismatch) mTokenStreamBuf->NextToken();
}

void CToken_istream::SkipAfterError() {
    if (!Begin()) return;
    if (AtEndOfLine()) {
        mTokenStreamBuf->NextToken();
    } else {
        mTokenStreamBuf->SkipToEol();
    }
}

// --- looking

bool CToken_istream::AtEndOfLine() const {
    return mTokenStreamBuf->CurrentToken().Type() == ETokenType::Eol;
}
bool CToken_istream::AtEndOfFile() {
    return Begin() && (mItemsLeft == 0 || Load().Type() == ETokenType::Eof);
}
bool CToken_istream::AtNumber() {
    return Begin() && Load().IsNumeric();
}
bool CToken_istream::AtDelimiter(wchar_t c) {
    return IsAt(c);
}

bool CToken_istream::CurrentNumberEquals(double number) {
    return AtNumber() && Load().Number() == number;
}

bool CToken_istream::CurrentTokenIs(const wchar_t* text) {
    if (!Begin()) return false;
    const CToken& token = Load();
    return (token.IsQuoted() || !token.IsNoToken()) && mTokenStreamBuf->NamesEqual(token.View(), text);
}

// --- keywords

ETokenType CToken_istream::KindOf(const AString& keyword) const {
    for (const ETokenType kind : {ETokenType::Keyword, ETokenType::Symbol})
        if (mGrammar->ScanTypeInRange(keyword.CStr(), kind, kind)) return kind;
    return ETokenType::Null;
}

void CToken_istream::SetBeginKeyword(const AString& keyword) {
    CAbstract_istream::SetBeginKeyword(keyword);
    mBeginKind = KindOf(keyword);
}

void CToken_istream::SetEndKeyword(const AString& keyword) {
    CAbstract_istream::SetEndKeyword(keyword);
    mEndKind = KindOf(keyword);
}

bool CToken_istream::IsKeyword(ETokenType kind, const AString& keyword) {
    if (!Begin()) return false;
    const CToken& token = Load();
    // A keyword that is no single word or symbol cannot be told from anything: every token counts.
    if (kind == ETokenType::Null) return true;
    return token.Type() == kind && mTokenStreamBuf->NamesEqual(token.View(), keyword.Str());
}

bool CToken_istream::AtBeginKeyword() {
    return IsKeyword(mBeginKind, BeginKeyword());
}
bool CToken_istream::AtEndKeyword() {
    return IsKeyword(mEndKind, EndKeyword());
}

template <class Accepts>
bool CToken_istream::LooksAtBlock(Accepts accepts) {
    if (!Begin()) return false;
    if (BeginKeyword().IsEmpty()) return accepts(Load());
    if (!AtBeginKeyword()) return false;
    const CToken         begin  = Load();
    const ACharStreamOff offset = mTokenStreamBuf->TokenOffset();
    mTokenStreamBuf->NextToken();
    const bool accepted = accepts(Load());
    mTokenStreamBuf->PushBackToken(begin, offset);
    return accepted;
}

bool CToken_istream::AtBlockBegin() {
    return LooksAtBlock([](const CToken& token) { return token.CanBeName(); });
}

bool CToken_istream::IsBlockNamed(const AString& name) {
    return LooksAtBlock([&](const CToken& token) {
        return token.CanBeName() && mTokenStreamBuf->NamesEqual(token.View(), name.Str());
    });
}

// --- reading

void CToken_istream::ReadDelimiter(wchar_t c) {
    if (!Begin()) return;
    if (Load().IsSymbol(c)) {
        mTokenStreamBuf->NextToken();
    } else {
        Fail();
    }
}

void CToken_istream::ReadName(AString& name) {
    if (!Begin()) return;
    name = AString(std::wstring(NameText(Load())));
    mTokenStreamBuf->NextToken();
}

void CToken_istream::ReadBeginBlock(AString& name) {
    if (!Begin()) return;
    if (!AtBlockBegin()) {
        Fail();
        return;
    }
    if (!BeginKeyword().IsEmpty()) NextToken();
    ReadName(name);
}

void CToken_istream::ReadEndKeyword() {
    if (AtEndKeyword()) mTokenStreamBuf->NextToken();
}

void CToken_istream::ReadEndBlock(const AString& name) {
    if (!Begin()) return;
    if (mTokenStreamBuf->NamesEqual(NameText(Load()), name.Str())) {
        mTokenStreamBuf->NextToken();
    } else {
        Fail();
    }
}

bool CToken_istream::FindBlock(const AString& name) {
    if (!Begin()) return false;
    const CAbstract_stream_pos start = GetPos();
    if (mIndex) {
        if (mIndex->SeekForward(name, *this)) return true;
        // An index need not know all blocks: more may have been written behind it, or on other levels.
        SetPos(start);
        Clear();
    }
    if (SearchBlock(name)) return true;
    SetPos(start);
    mGood = false;
    return false;
}

bool CToken_istream::SearchBlock(const AString& name) {
    for (; mGood && !AtEndOfFile(); PassOver())
        if (IsBlockNamed(name)) return true;
    return false;
}

int CToken_istream::PassOver() {
    if (AtBlockBegin()) {
        AString name;
        ReadBeginBlock(name);
        return 1;
    }
    if (!AtEndKeyword()) {
        NextToken();
        return 0;
    }
    ReadEndKeyword();
    if (!AtEndOfLine() && !AtEndOfFile()) NextToken();
    return -1;
}

void CToken_istream::SkipBlock() {
    int level = 0;
    do
        level += PassOver();
    while (level > 0 && mGood && !AtEndOfFile());
}

// --- places

CAbstract_stream_pos CToken_istream::GetPos() {
    CStreamStatePtr state;
    mTokenStreamBuf->SaveState(state);
    const auto& saved = static_cast<const CToken_stream_state&>(*state);
    return CAbstract_stream_pos(saved.mOffset, state);
}

void CToken_istream::SetPos(const CAbstract_stream_pos& pos) {
    if (!SeekChars(pos)) mGood = false;
    mTokenStreamBuf->RestoreState(pos.State());
}

CToken_istream::CNesting::CNesting(CToken_istream& stream) : mStream(stream) {
    if (mStream.IsNestingFull()) throw mStream.Error(kStreamioInvalidBlockItem);
    ++mStream.mDepth;
}

CToken_istream::CTree::CTree(CToken_istream& stream) : mStream(stream) {
    if (mStream.mTrees == 0) mStream.mTokenStreamBuf->ShareTexts(true);
    ++mStream.mTrees;  // not when memory is short: then there is no tree
}

CToken_istream::CTree::~CTree() {
    if (--mStream.mTrees != 0) return;
    mStream.mTokenStreamBuf->ShareTexts(false);
    mStream.mItemPool.LetGo();
}

}  // namespace io
