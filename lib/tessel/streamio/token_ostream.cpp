#include "tessel/streamio/token_ostream.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/platform/platform.h"
#include "tessel/streamio/block_index.h"
#include "tessel/streamio/token_binarystreambuf.h"
#include "tessel/streamio/token_grammar_default.h"
#include "tessel/streamio/token_textstreambuf.h"

#include <sstream>
#include <utility>

namespace io {

namespace {

std::unique_ptr<CToken_streambuf> CreateBuffer(std::wstreambuf* buffer, const CToken_grammar* grammar) {
    if (grammar == nullptr) return std::make_unique<CToken_binarystreambuf>(buffer, EDirection::kWrite);
    return std::make_unique<CToken_textstreambuf>(buffer, *grammar, EDirection::kWrite);
}

/// Takes nothing.
class CClosedBuf final : public std::wstreambuf {};

std::wstreambuf* ClosedBuffer() {
    static CClosedBuf closed;
    return &closed;
}

}  // namespace

CToken_ostream::CToken_ostream(const AString& path, std::uint32_t flags, const CToken_grammar* grammar)
    : CToken_ostream(CreateOStream(path, (flags & kOpenReplace) != 0), flags, grammar) {}

CToken_ostream::CToken_ostream(std::unique_ptr<std::wostream> stream, std::uint32_t flags,
                               const CToken_grammar* grammar)
    : CToken_ostream(std::move(stream), flags, grammar, kUtf8Units) {}

CToken_ostream::CToken_ostream(std::unique_ptr<std::wostream> stream, std::uint32_t flags,
                               const CToken_grammar* grammar, ECodeCvt codeCvt)
    : CAbstract_ostream(std::move(stream)),
      mGrammar((flags & kOpenBinary) ? nullptr : grammar),
      mTokenStreamBuf(CreateBuffer(CharBuffer(), mGrammar)) {
    mTokenStreamBuf->SetCodeCvt(codeCvt);
    mTokenStreamBuf->SetBlockKeywords(BeginKeyword(), EndKeyword());
    if (CharStream() == nullptr || !CharStream()->good()) {
        mGood = false;
        return;
    }
    if (flags & kOpenReadIndex) {
        mIndex = std::make_unique<CBlock_index>();
        mIndex->SetAllLevels(true);
        mBuildIndex = true;
    }
    const ACharStreamOff here = GetPos().Offset();
    if (here <= 0) {
        mTokenStreamBuf->StartOutput();
    } else if (!IsCommaOptional() && IsBehindUnendedLine(here)) {
        mTokenStreamBuf->WriteEol(true);
    }
}

CToken_ostream::~CToken_ostream() {
    if (!mClosed) Finish();
}

bool CToken_ostream::good() const {
    return CAbstract_ostream::good() && !mTokenStreamBuf->WriteFailed();
}
bool CToken_ostream::fail() const {
    return CAbstract_ostream::fail() || mTokenStreamBuf->WriteFailed();
}

bool CToken_ostream::Close() {
    if (!mClosed) {
        Finish();
        mTokenStreamBuf = CreateBuffer(ClosedBuffer(), mGrammar);
    }
    return !fail();
}

void CToken_ostream::Finish() {
    mClosed = true;
    if (mBuildIndex) {
        mBuildIndex = false;
        mIndex->Write(*this);
        mIndex.reset();
    }
    if (!CloseChars() || mTokenStreamBuf->WriteFailed()) mGood = false;
}

bool CToken_ostream::IsCommaOptional() const {
    const EFormatKind kind = mTokenStreamBuf->FormatKind();
    return kind == kFormatBinary || kind == kFormatBinarySmallest;
}

// --- lines

void CToken_ostream::NewLine() {
    mTokenStreamBuf->WriteEol(false);
}
void CToken_ostream::ForceNewLine() {
    mTokenStreamBuf->WriteEol(true);
}

void CToken_ostream::Indent(std::size_t width) {
    ++mLevel;
    mTokenStreamBuf->Indent(width, IndentChar());
}

void CToken_ostream::Unindent() {
    if (mLevel == 0) return;
    --mLevel;
    mTokenStreamBuf->Unindent();
}

// --- tokens

void CToken_ostream::WriteIdentifier(const AString& text) {
    if (!text.IsEmpty()) mTokenStreamBuf->WriteKeyword(text.Str());
}
void CToken_ostream::WriteQuotedString(const AString& text) {
    if (!text.IsEmpty()) mTokenStreamBuf->WriteQuotedText(text.Str());
}
void CToken_ostream::WriteDelimiter(wchar_t c) {
    mTokenStreamBuf->WriteSymbol(c);
}
void CToken_ostream::WriteComment(const AString& text) {
    mTokenStreamBuf->WriteComment(text.Str());
}
void CToken_ostream::WriteBool(bool value) {
    mTokenStreamBuf->WriteBool(value);
}
void CToken_ostream::WriteShort(std::int16_t value) {
    mTokenStreamBuf->WriteShort(value);
}
void CToken_ostream::WriteInt(std::int32_t value) {
    mTokenStreamBuf->WriteInt(value);
}
void CToken_ostream::WriteLong(std::int32_t value) {
    mTokenStreamBuf->WriteLong(value);
}
void CToken_ostream::WriteUnsignedShort(std::uint16_t value) {
    mTokenStreamBuf->WriteUnsignedShort(value);
}
void CToken_ostream::WriteUnsignedInt(std::uint32_t value) {
    mTokenStreamBuf->WriteUnsignedInt(value);
}
void CToken_ostream::WriteUnsignedLong(std::uint32_t value) {
    mTokenStreamBuf->WriteUnsignedLong(value);
}

/// The character stream's own flags, too, say how this floating-point number looks.
template <class Write>
void CToken_ostream::WithCharFormat(Write write) {
    const CNumberFormat own    = mTokenStreamBuf->NumberFormat();
    CNumberFormat       format = own;
    if (CharStream() != nullptr)
        format.mFlags |= CharStream()->flags() & (std::ios_base::floatfield | std::ios_base::showpos |
                                                  std::ios_base::uppercase | std::ios_base::left);
    mTokenStreamBuf->SetNumberFormat(format);
    write();
    mTokenStreamBuf->SetNumberFormat(own);
}

void CToken_ostream::WriteFloat(float value) {
    WithCharFormat([&] { mTokenStreamBuf->WriteFloat(value, -1); });
}

void CToken_ostream::WriteDouble(double value) {
    WithCharFormat([&] { mTokenStreamBuf->WriteDouble(value, -1); });
}

void CToken_ostream::WriteSeparator() {
    if (IsCommaOptional()) return;
    mTokenStreamBuf->WriteSymbol(L',');
    WriteBlank();
}

void CToken_ostream::WriteBlank() {
    if (!IsCommaOptional()) mTokenStreamBuf->WriteWhiteSpace(L" ");
}

// --- blocks

/// A keyword that is one symbol is written as such; quoted it would be none.
void CToken_ostream::WriteKeyword(const AString& keyword) {
    if (keyword.Length() == 1 && !platform::IsAlnum(keyword.Str()[0])) {
        mTokenStreamBuf->WriteSymbol(keyword.Str()[0]);
    } else {
        WriteIdentifier(keyword);
    }
}

void CToken_ostream::WriteHandName(const AString& name) {
    if (mQuoteBlockNames) {
        WriteQuotedString(name);
    } else {
        WriteIdentifier(name);
    }
}

void CToken_ostream::WriteExactName(const CToken& name) {
    if (mQuoteBlockNames || !name.IsText()) {
        mTokenStreamBuf->WriteBlockName(name);
    } else {
        WriteName(name);
    }
}

void CToken_ostream::OpenBlock(const AString* indexName) {
    NewLine();
    if (mBuildIndex) {
        mPath.push_back(indexName ? *indexName : AString());
        const ACharStreamOff here        = GetPos().Offset();  // -1 where there are no places
        const auto           indentation = static_cast<ACharStreamOff>(mTokenStreamBuf->IndentationLength());
        if (indexName != nullptr && here >= 0)
            mIndex->AddEntry(CBlock_index::JoinPath(mPath), CAbstract_stream_pos(here + indentation));
    }
    WriteKeyword(BeginKeyword());
}

void CToken_ostream::CloseBlock() {
    if (mBuildIndex && !mPath.empty()) mPath.pop_back();
    Unindent();
    NewLine();
    WriteKeyword(EndKeyword());
}

void CToken_ostream::WriteBeginBlock(const AString& name) {
    OpenBlock(&name);
    WriteHandName(name);
    NewLine();
    Indent(IndentWidth());
}

void CToken_ostream::WriteBeginBlock() {
    TESSEL_ASSERT(!mBuildIndex);
    OpenBlock(nullptr);
    NewLine();
    Indent(IndentWidth());
}

void CToken_ostream::WriteBeginBlock(const CToken& name) {
    const AString text = name.String();
    OpenBlock(&text);
    WriteExactName(name);
    NewLine();
    Indent(IndentWidth());
}

void CToken_ostream::WriteEndBlock(const AString& name) {
    CloseBlock();
    WriteHandName(name);
    NewLine();
}

void CToken_ostream::WriteEndBlock() {
    CloseBlock();
    NewLine();
}

void CToken_ostream::WriteEndBlock(const CToken& name) {
    CloseBlock();
    WriteExactName(name);
    NewLine();
}

void CToken_ostream::SetBeginKeyword(const AString& keyword) {
    CAbstract_ostream::SetBeginKeyword(keyword);
    mTokenStreamBuf->SetBlockKeywords(BeginKeyword(), EndKeyword());
}

void CToken_ostream::SetEndKeyword(const AString& keyword) {
    CAbstract_ostream::SetEndKeyword(keyword);
    mTokenStreamBuf->SetBlockKeywords(BeginKeyword(), EndKeyword());
}

void CToken_ostream::SetOptions(std::uint32_t options) {
    mTokenStreamBuf->SetFormatting((options & kOutputRaw) == 0);
    SetQuoteBlockNames((options & kOutputBareBlockNames) == 0);
}

// --- places

CAbstract_stream_pos CToken_ostream::GetPos() {
    CStreamStatePtr state;
    mTokenStreamBuf->SaveState(state);
    const auto& saved = static_cast<const CToken_stream_state&>(*state);
    return CAbstract_stream_pos(saved.mOffset, state);
}

void CToken_ostream::SetPos(const CAbstract_stream_pos& pos) {
    if (mClosed || !SeekChars(pos)) mGood = false;
    mTokenStreamBuf->RestoreState(pos.State());
    if (!mTokenStreamBuf->IsIndented())
        for (std::size_t i = 0; i < mLevel; ++i)
            mTokenStreamBuf->Indent(IndentWidth(), IndentChar());
    if (IsCommaOptional() && pos.Offset() == 0) mTokenStreamBuf->StartOutput();
}

// --- in memory

CToken_ostring::CToken_ostring(std::uint32_t flags, const CToken_grammar* grammar)
    : CToken_ostream(std::make_unique<std::wostringstream>(), flags, grammar, kWideUnits) {}

const CToken_grammar& CToken_ostring::DefaultGrammar() noexcept {
    return CToken_grammar_default::Shared();
}

AString CToken_ostring::String() const {
    return AString(static_cast<std::wostringstream&>(*CharStream()).str());
}

void CToken_ostring::Reserve(std::size_t units) {
    std::wstring room;
    room.reserve(units);
    static_cast<std::wostringstream&>(*CharStream()).str(std::move(room));
}

}  // namespace io
