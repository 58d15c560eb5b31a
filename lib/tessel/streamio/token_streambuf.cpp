#include "tessel/streamio/token_streambuf.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/streamio/utf8.h"

#include <algorithm>
#include <cstring>
#include <ios>
#include <string>
#include <type_traits>
#include <utility>

namespace io {

namespace {

using Traits = std::char_traits<wchar_t>;

/// Makes a locale the global one for a while.
class CGlobalLocale {
  public:
    explicit CGlobalLocale(const std::locale& locale) : mSaved(std::locale::global(locale)) {}
    ~CGlobalLocale() { std::locale::global(mSaved); }
    CGlobalLocale(const CGlobalLocale&)            = delete;
    CGlobalLocale& operator=(const CGlobalLocale&) = delete;

  private:
    std::locale mSaved;
};

}  // namespace

bool CToken_stream_state::IsValid() const noexcept {
    return (mOffset >= 0 || mAtLineStart) && mPushBackCount == 0 && mTokenPushBackCount == 0;
}

CToken_streambuf::CToken_streambuf(std::wstreambuf* a_streambuf, EDirection direction)
    : mStreamBuf(a_streambuf), mDirection(direction) {
    TESSEL_ASSERT(a_streambuf);
    const ACharStreamOff start = direction == EDirection::kRead ? CurrentOffset() : -1;
    if (start > 0) mUnitOffset = start;
}

ACharStreamOff CToken_streambuf::CurrentOffset() const {
    if (mStreamBuf == nullptr) return -1;
    const auto which = mDirection == EDirection::kRead ? std::ios_base::in : std::ios_base::out;
    return static_cast<ACharStreamOff>(mStreamBuf->pubseekoff(0, std::ios_base::cur, which));
}

// --- tokens

const CToken& CToken_streambuf::NextToken() {
    TakeToken();
    return CurrentToken();
}

CToken CToken_streambuf::TakeToken() {
    const bool pushedBack = mTokenPushBackCount != 0;
    CToken     token = std::move(pushedBack ? mTokenPushBack[--mTokenPushBackCount].mToken : mCurrentToken);
    mAtLineStart     = token.Type() == ETokenType::Eol || token.Type() == ETokenType::Null;
    if (!pushedBack) ReadCurrentToken();
    return token;
}

void CToken_streambuf::GoInPlace(const CInPlaceCursor& cursor) {
    PassInPlace(cursor);
    mCurrentToken = CToken(ETokenType::Eol);
    mAtLineStart  = false;
}

ACharStreamOff CToken_streambuf::TokenOffset() const noexcept {
    return mTokenPushBackCount != 0 ? mTokenPushBack[mTokenPushBackCount - 1].mOffset : mTokenOffset;
}

void CToken_streambuf::ReadCurrentToken() {
    if (mCodeCvt != kImbuedStream) {
        ReadToken(mCurrentToken);
        return;
    }
    const CGlobalLocale forThisToken(mStreamLocale);
    ReadToken(mCurrentToken);
}

void CToken_streambuf::PushBackToken(const CToken& token, ACharStreamOff offset) {
    TESSEL_ASSERT(mTokenPushBackCount < kMaxTokenPushBack);
    if (mTokenPushBackCount < kMaxTokenPushBack) mTokenPushBack[mTokenPushBackCount++] = {token, offset};
}

bool CToken_streambuf::Find(const ETokenType* type, const AString& text, bool atLineStartOnly) {
    for (;; NextToken()) {
        const CToken& token = CurrentToken();
        if (token.Type() == ETokenType::Eof) return false;
        if (token.Type() == ETokenType::Null || (atLineStartOnly && !mAtLineStart)) continue;
        if ((type == nullptr || token.Type() == *type) && NamesEqual(token.View(), text.Str())) return true;
    }
}

bool CToken_streambuf::FindToken(ETokenType type, const AString& text) {
    return Find(&type, text, false);
}
bool CToken_streambuf::FindTokenAtLineStart(ETokenType type, const AString& text) {
    return Find(&type, text, true);
}
bool CToken_streambuf::FindText(const AString& text) {
    return Find(nullptr, text, false);
}
bool CToken_streambuf::FindTextAtLineStart(const AString& text) {
    return Find(nullptr, text, true);
}

// --- characters

bool CToken_streambuf::HandBack() {
    // The look-ahead goes back to where it was read from, if that is still there.
    const wchar_t* next = CBufferAreas::Next(*mStreamBuf);
    if (mLookAheadUnits != 1 || next == CBufferAreas::Start(*mStreamBuf) ||
        static_cast<LexChar>(next[-1]) != mLookAhead)
        return false;
    CBufferAreas::Move(*mStreamBuf, -1);
    ++mUnitsLeft;
    --mUnitOffset;
    mLookAheadUnits = 0;
    return true;
}

LexChar CToken_streambuf::ReadUnit() {
    if (!mByteSplit) return ReadWholeUnit();
    if (mSplitByte != kEndOfInput) return std::exchange(mSplitByte, kEndOfInput);
    const LexChar unit = ReadWholeUnit();
    if (unit == kEndOfInput) return kEndOfInput;
    mSplitByte = (unit >> 8) & 0xFF;
    return unit & 0xFF;
}

LexChar CToken_streambuf::ReadByte() {
    if (mLookAheadUnits == 0) return NextUnit();
    mLookAheadUnits = 0;
    return mLookAhead;
}

LexChar CToken_streambuf::ReadWholeUnit() {
    if (mStreamBuf == nullptr || mUnitsLeft == 0) return kEndOfInput;
    try {
        const auto unit = mStreamBuf->sgetc();
        // Where a wide character has 16 bits, U+FFFF looks like the end; what is left in the buffer tells.
        constexpr bool kLooksLikeEnd = Traits::to_int_type(static_cast<wchar_t>(0xFFFF)) == Traits::eof();
        const bool     end           = Traits::eq_int_type(unit, Traits::eof());
        if (end && !(kLooksLikeEnd && mStreamBuf->in_avail() > 0)) return kEndOfInput;
        --mUnitsLeft;
        mStreamBuf->sbumpc();
        ++mUnitOffset;
        const auto ch = static_cast<LexChar>(Traits::to_char_type(unit));
        return ch < 0 ? kCharMax : ch;
    } catch (const std::ios_base::failure&) {
        return kEndOfInput;  // a file that can no longer be read ends here
    }
}

LexChar CToken_streambuf::NextUnit() {
    if (mWaitingCount == 0) return ReadUnit();
    const LexChar unit = mWaiting[0];
    std::copy(mWaiting.begin() + 1, mWaiting.begin() + static_cast<std::ptrdiff_t>(mWaitingCount),
              mWaiting.begin());
    --mWaitingCount;
    return unit;
}

void CToken_streambuf::LoadLookAhead() {
    const LexChar unit = NextUnit();
    mLookAhead         = unit;
    if (unit == kEndOfInput) return;
    mLookAheadUnits = 1;
    if (mCodeCvt == kUtf8Units && Utf8Length(unit) > 1) DecodeUtf8(unit);
}

void CToken_streambuf::DecodeUtf8(LexChar lead) {
    const std::size_t length = Utf8Length(lead);
    LexChar           ch     = Utf8LeadBits(lead, length);
    for (std::size_t i = 1; i < length; ++i) {
        if (mWaitingCount < i) {
            const LexChar unit = ReadUnit();
            if (unit == kEndOfInput) return;
            mWaiting[mWaitingCount++] = unit;
        }
        if (!IsUtf8Continuation(lead, i, mWaiting[i - 1])) return;
        ch = (ch << 6) | (mWaiting[i - 1] & 0x3F);
    }
    mLookAhead      = ch;
    mLookAheadUnits = length;
    std::copy(mWaiting.begin() + static_cast<std::ptrdiff_t>(length - 1),
              mWaiting.begin() + static_cast<std::ptrdiff_t>(mWaitingCount), mWaiting.begin());
    mWaitingCount -= length - 1;
}

LexChar CToken_streambuf::PeekChar() {
    if (mPushBackCount != 0) return mPushBack[mPushBackCount - 1];
    if (mLookAheadUnits == 0) LoadLookAhead();
    return mLookAhead;
}

void CToken_streambuf::GetChar() {
    if (mPushBackCount != 0) {
        --mPushBackCount;
    } else {
        mLookAheadUnits = 0;
    }
}

void CToken_streambuf::PushBackChar(LexChar ch) {
    TESSEL_ASSERT(mPushBackCount < kMaxPushBack);
    if (mPushBackCount < kMaxPushBack) mPushBack[mPushBackCount++] = ch;
}

void CToken_streambuf::PutUnit(wchar_t unit) {
    ++mWritten;
    const auto put = [this](wchar_t u) {
        return mStreamBuf != nullptr && !Traits::eq_int_type(mStreamBuf->sputc(u), Traits::eof());
    };
    // Where a wide character has 16 bits, U+FFFF looks like the end: a buffer without room takes it for
    // none. Room is made by another unit, which it then overwrites.
    if (Traits::eq_int_type(Traits::to_int_type(unit), Traits::eof())) {
        const bool room =
            put(L' ') && mStreamBuf->pubseekoff(-1, std::ios_base::cur, std::ios_base::out) >= 0;
        if (room) mStreamBuf->sputc(unit);
        mWriteFailed = mWriteFailed || !room;
    } else if (!put(unit)) {
        mWriteFailed = true;
    }
}

/// Characters below 128 are units as they stand: when all are, and there is room, they are copied, several
/// at a time.
bool CToken_streambuf::PutAscii(std::wstring_view text) {
    if (mStreamBuf == nullptr || CBufferAreas::Room(*mStreamBuf) < text.size()) return false;
    using Word                        = std::uint64_t;
    constexpr std::size_t kUnits      = sizeof(Word) / sizeof(wchar_t);
    constexpr Word        kBeyondEach = sizeof(wchar_t) == 2 ? 0xFF80FF80FF80FF80 : 0xFFFFFF80FFFFFF80;

    wchar_t*             room = CBufferAreas::Put(*mStreamBuf);
    const wchar_t*       next = text.data();
    const wchar_t* const end  = next + text.size();
    Word                 bits = 0;
    for (; static_cast<std::size_t>(end - next) >= kUnits; next += kUnits, room += kUnits) {
        Word units;
        std::memcpy(&units, next, sizeof units);
        std::memcpy(room, &units, sizeof units);
        bits |= units;
    }
    for (; next != end; ++next) {
        *room++ = *next;
        bits |= static_cast<std::make_unsigned_t<wchar_t>>(*next);
    }
    if ((bits & kBeyondEach) != 0) return false;
    CBufferAreas::MovePut(*mStreamBuf, static_cast<std::ptrdiff_t>(text.size()));
    mWritten += static_cast<std::uint32_t>(text.size());
    mLastChar = text.back();
    return true;
}

std::size_t CToken_streambuf::UnitsOf(std::wstring_view text) const {
    return mCodeCvt == kUtf8Units ? ToUtf8Units(text).size() : text.size();
}

void CToken_streambuf::PutAnyChar(wchar_t ch) {
    mLastChar = ch;
    if (mCodeCvt != kUtf8Units) {
        PutUnit(ch);
        return;
    }
    std::string bytes;
    AppendUtf8Unit(bytes, ch);
    for (const char byte : bytes)
        PutUnit(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
}

void CToken_streambuf::SetBlockKeywords(const AString& begin, const AString& end) {
    mBlockBegin = begin;
    mBlockEnd   = end;
}

// --- places

void CToken_streambuf::InitState(CStreamStatePtr& state) const {
    state = CStreamStatePtr(new CToken_stream_state);
}

void CToken_streambuf::SaveState(CStreamStatePtr& state) {
    auto* saved = new CToken_stream_state;
    state       = CStreamStatePtr(saved);
    SaveStateInto(*saved);
}

void CToken_streambuf::SaveStateInto(CToken_stream_state& saved) {
    ACharStreamOff off = CurrentOffset();
    if (UnitsHeld() != 0 && off >= 0) {
        // Behind a converting buffer a unit has no fixed width, so there is no going back by units.
        TESSEL_ASSERT(mCodeCvt != kImbuedStream);
        TESSEL_ASSERT(off != 0);
        if (mCodeCvt != kImbuedStream && off != 0) off -= static_cast<ACharStreamOff>(UnitsHeld());
    }
    saved.mOffset             = off;
    saved.mAtLineStart        = mAtLineStart;
    saved.mLine               = mLine;
    saved.mPushBackCount      = mPushBackCount;
    saved.mPushBack           = mPushBack;
    saved.mTokenPushBackCount = mTokenPushBackCount;
    saved.mTokenPushBack      = mTokenPushBack;
    saved.mCurrentToken       = mCurrentToken;
    saved.mTokenOffset        = mTokenOffset;
    saved.mLastChar           = mLastChar;
    saved.mLastType           = mLastType;
}

void CToken_streambuf::RestoreState(const CStreamStatePtr& state) {
    CStreamStatePtr fresh;
    if (!state) InitState(fresh);
    const auto& from = static_cast<const CToken_stream_state&>(state ? *state : *fresh);

    mLookAheadUnits     = 0;
    mWaitingCount       = 0;
    mAtLineStart        = from.mAtLineStart;
    mLine               = from.mLine;
    mPushBackCount      = from.mPushBackCount;
    mPushBack           = from.mPushBack;
    mTokenPushBackCount = from.mTokenPushBackCount;
    mTokenPushBack      = from.mTokenPushBack;
    mCurrentToken       = from.mCurrentToken;
    mLastChar           = from.mLastChar;
    mLastType           = from.mLastType;

    const ACharStreamOff offset = mDirection == EDirection::kRead ? CurrentOffset() : -1;
    mUnitOffset                 = offset > 0 ? offset : 0;
    mTokenOffset                = state ? from.mTokenOffset : mUnitOffset;
    mSplitByte                  = kEndOfInput;
}

}  // namespace io
