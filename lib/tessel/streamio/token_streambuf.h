#pragma once

#include "tessel/streamio/base_grammar.h"
#include "tessel/streamio/buffer_areas.h"
#include "tessel/streamio/in_place_cursor.h"
#include "tessel/streamio/line_room.h"
#include "tessel/streamio/streamio_pos.h"
#include "tessel/streamio/token.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <locale>
#include <streambuf>

namespace io {

inline constexpr std::size_t    kMaxPushBack      = 64;            ///< characters
inline constexpr std::size_t    kMaxTokenPushBack = 10;            ///< tokens
inline constexpr double         kMaxVectorCount   = 4294967295.0;  ///< that can be written before a ":"
inline constexpr ACharStreamOff kUnknownOffset    = -1;            ///< of a token that comes from nowhere

/// How the units of the underlying buffer become characters.
enum ECodeCvt : std::uint32_t {
    kImbuedStream,  ///< its own locale has converted them
    kUtf8Units,     ///< each is a byte of UTF-8; a byte that is not well formed stands for itself
    kWideUnits,     ///< each is a character already: text in memory
};

/// What happens to the case of keywords as they are read and compared.
enum ECaseMode : std::uint32_t {
    kCaseUpper,   ///< read as upper case
    kCaseLower,   ///< read as lower case
    kCaseIgnore,  ///< kept; names and keywords compare without case
    kCaseKeep,    ///< kept; they compare exactly
};

/// How the tokens of a stream are written down. Two of them are told apart in a running program by
/// `IsCommaOptional` of the streams: kinds 3 and 4.
enum EFormatKind : std::uint32_t { kFormatText = 1, kFormatBinary = 3, kFormatBinarySmallest = 4 };

/// Which end of the underlying buffer a token buffer works on.
enum class EDirection { kRead, kWrite };

/// How numbers are written by hand. The block model does not go by it: it writes the shortest form
/// that reads back to the same number.
struct CNumberFormat {
    int                     mPrecision = -1;  ///< significant digits; -1: the shortest exact form
    int                     mWidth     = -1;  ///< characters, at least; -1: as many as it takes
    std::ios_base::fmtflags mFlags{};  ///< `fixed`, `scientific`, `showpos`, `uppercase` and `left` count
    wchar_t                 mFill = L' ';
};

/// A token that is delivered again, and where it began.
struct CPushedBackToken {
    CToken         mToken;
    ACharStreamOff mOffset = kUnknownOffset;
};

/// A token buffer's place: everything that decides what it delivers or writes next.
class CToken_stream_state : public CAbstract_stream_state {
  public:
    /// True when the place can be gone back to by its offset alone: nothing is pushed back, and it
    /// has an offset or is the start of a line.
    bool IsValid() const noexcept;

    bool                                            mAtLineStart   = true;
    std::uint32_t                                   mLine          = 1;
    std::size_t                                     mPushBackCount = 0;
    std::array<LexChar, kMaxPushBack>               mPushBack{};
    std::size_t                                     mTokenPushBackCount = 0;
    std::array<CPushedBackToken, kMaxTokenPushBack> mTokenPushBack;
    CToken                                          mCurrentToken;
    ACharStreamOff                                  mOffset = 0;  ///< units from the start; -1 when unknown
    ACharStreamOff                                  mTokenOffset = 0;  ///< where the current token begins
    wchar_t                                         mLastChar    = 0;  ///< written
    ETokenType                                      mLastType    = ETokenType::Eol;
};

/// Turns the characters of a wide stream buffer into tokens, and tokens into characters. This base
/// holds what all forms share: characters with one unit of look-ahead, what is pushed back, the
/// current token, the line, and what was written last. An object reads or writes, not both.
///
/// Nothing here throws on what it reads; the end of the underlying buffer (also one that fails)
/// gives `Eof` tokens for ever. A write that the underlying buffer refuses shows in `WriteFailed()`.
class CToken_streambuf {
  public:
    /// @param a_streambuf  borrowed, must live as long as this object. Null fails an assertion and
    ///                     behaves like an empty buffer.
    explicit CToken_streambuf(std::wstreambuf* a_streambuf, EDirection direction = EDirection::kRead);
    virtual ~CToken_streambuf()                          = default;
    CToken_streambuf(const CToken_streambuf&)            = delete;
    CToken_streambuf& operator=(const CToken_streambuf&) = delete;

    // --- tokens

    bool HasPushedBackTokens() const noexcept { return mTokenPushBackCount != 0; }
    /// The last token pushed back, else the token read last (`Null` before the first).
    const CToken& CurrentToken() const noexcept {
        return mTokenPushBackCount != 0 ? mTokenPushBack[mTokenPushBackCount - 1].mToken : mCurrentToken;
    }
    /// Advances: drops the last token pushed back, or reads a new one. Returns the new current token.
    const CToken& NextToken();
    /// Returns the current token and advances.
    CToken TakeToken();
    /// A cursor over the characters behind the current token, as many as lie ready in memory. False when
    /// there are none, or when tokens cannot be lexed from them as they lie.
    virtual bool OpenInPlace(CInPlaceCursor&) { return false; }
    /// Goes to where a cursor has got to: the line end passed over last is the current token.
    void GoInPlace(const CInPlaceCursor& cursor);
    /// Makes a copy of `token` the current token. An eleventh fails an assertion and is dropped.
    /// @param offset  what `TokenOffset` answered when it was the current token before.
    void PushBackToken(const CToken& token, ACharStreamOff offset = kUnknownOffset);

    /// Advances until the current token has this kind and text. False at the end.
    bool FindToken(ETokenType type, const AString& text);
    bool FindTokenAtLineStart(ETokenType type, const AString& text);
    /// The same for a token of any kind.
    bool FindText(const AString& text);
    bool FindTextAtLineStart(const AString& text);

    /// Passes over the rest of the line, counts it, and advances to the first token behind it. Drops
    /// what was pushed back: it belongs to what is skipped. Only LF and NUL end a line here.
    virtual void SkipToEol() = 0;
    /// The same; the characters before the line end are appended to `line`.
    virtual void        NewLine(AString& line)      = 0;
    virtual EFormatKind FormatKind() const noexcept = 0;

    /// The line of the place read up to, 1-based: a token's line right after it has been read.
    std::uint32_t LineNumber() const noexcept { return mLine; }
    /// Whether the token read last is the first of its line.
    bool AtLineStart() const noexcept { return mAtLineStart; }

    /// Where the current token begins: units from the start of the underlying buffer; of a token pushed
    /// back what was said then.
    ACharStreamOff TokenOffset() const noexcept;

    // --- writing, by hand: the text is written as these calls say, and may read back as something else

    virtual void WriteComment(std::wstring_view text)     = 0;  ///< to the end of its line
    virtual void WriteQuotedText(std::wstring_view text)  = 0;  ///< as it stands if it is quoted already
    virtual void WriteKeyword(std::wstring_view text)     = 0;  ///< quoted unless it is one word
    virtual void WriteSymbol(wchar_t ch)                  = 0;
    virtual void WriteDouble(double value, int precision) = 0;
    virtual void WriteFloat(float value, int precision)   = 0;
    virtual void WriteShort(std::int16_t value)           = 0;
    virtual void WriteInt(std::int32_t value)             = 0;
    virtual void WriteLong(std::int32_t value)            = 0;
    virtual void WriteUnsignedShort(std::uint16_t value)  = 0;
    virtual void WriteUnsignedInt(std::uint32_t value)    = 0;
    virtual void WriteUnsignedLong(std::uint32_t value)   = 0;
    virtual void WriteHex(std::uint32_t value)            = 0;
    virtual void WriteBool(bool value)                    = 0;
    virtual void WriteText(std::wstring_view text)        = 0;  ///< bare if it is one token, else quoted
    virtual void WriteCData(std::wstring_view text)       = 0;
    virtual void WriteWhiteSpace(std::wstring_view text)  = 0;
    virtual void WriteEol(bool force)                     = 0;  ///< not twice in a row unless forced

    // --- writing, for the block model: what is written reads back as the very same name or value

    virtual void WriteValueToken(const CToken& token) = 0;
    virtual void WriteNameToken(const CToken& token)  = 0;
    virtual void WriteBlockName(const CToken& token)  = 0;  ///< always quoted

    /// Lines from here on begin with `width` more (or, `Unindent`, as many fewer) of this character.
    virtual void Indent(std::size_t, wchar_t) {}
    virtual void Unindent() {}
    virtual bool IsIndented() const noexcept { return false; }
    /// Units that stand before the first token of a line written next.
    virtual std::size_t IndentationLength() const { return 0; }
    /// The characters that they are made of; valid until the next `Indent` or `Unindent`.
    virtual std::wstring_view Indentation() const noexcept { return {}; }
    /// Marks the start of the data, where the form needs it.
    virtual void StartOutput() {}

    /// Gives the room that is ready for whole lines, if one can begin here and lines may be composed in
    /// place.
    virtual bool OpenLines(CLineRoom&) noexcept { return false; }
    /// Takes lines that were composed there, up to `next`.
    void TakeLines(const wchar_t* next, std::uint32_t lines) noexcept {
        const auto units = next - CBufferAreas::Put(*mStreamBuf);
        CBufferAreas::MovePut(*mStreamBuf, units);
        mWritten += static_cast<std::uint32_t>(units);
        mLine += lines;
        mLastChar = L'\n';
        mLastType = ETokenType::Eol;
    }

    bool          WriteFailed() const noexcept { return mWriteFailed; }
    std::uint32_t CharsWritten() const noexcept { return mWritten; }

    // --- settings

    /// Off: characters are written raw, without separators and quotes.
    void                 SetFormatting(bool on) noexcept { mFormatting = on; }
    void                 SetNumberFormat(const CNumberFormat& format) noexcept { mNumberFormat = format; }
    const CNumberFormat& NumberFormat() const noexcept { return mNumberFormat; }
    /// Words that a name must not look like.
    void SetBlockKeywords(const AString& begin, const AString& end);

    /// On: tokens of equal text share it, where that is found out easily. Off: those to come share none with
    /// those that came.
    virtual void ShareTexts(bool) {}

    void      SetReturnComments(bool on) noexcept { mReturnComments = on; }
    void      SetReturnWhiteSpace(bool on) noexcept { mReturnWhiteSpace = on; }
    void      SetCaseMode(ECaseMode mode) noexcept { mCaseMode = mode; }
    ECaseMode CaseMode() const noexcept { return mCaseMode; }
    bool      IsCaseInsensitive() const noexcept { return mCaseMode == kCaseIgnore; }
    /// Lets the data end after so many more units of the underlying buffer.
    void SetReadLimit(std::size_t units) noexcept { mUnitsLeft = units; }
    /// To be set before the first character is read.
    void SetCodeCvt(ECodeCvt mode) noexcept { mCodeCvt = mode; }
    /// The locale that is global while a token is read in mode `kImbuedStream`.
    void SetLocale(const std::locale& locale) { mStreamLocale = locale; }
    /// Whether two names are equal by the case mode.
    bool NamesEqual(std::wstring_view a, std::wstring_view b) const noexcept {
        return a.size() == b.size() && (a == b || (IsCaseInsensitive() && CBase_grammar::SameWord(a, b)));
    }

    // --- characters

    /// The next character, not consumed; `kEndOfInput` at the end.
    LexChar PeekChar();
    /// Consumes the character that `PeekChar` returned.
    void GetChar();
    /// Delivers `ch` next. A 65th fails an assertion and is dropped.
    void PushBackChar(LexChar ch);
    /// Writes one unit of text; in mode `kUtf8Units` as the bytes of its UTF-8 form.
    void PutChar(wchar_t ch) {
        const bool plain = static_cast<std::uint32_t>(ch) < 0x80 && mStreamBuf != nullptr &&
                           CBufferAreas::Room(*mStreamBuf) != 0;
        if (!plain) return PutAnyChar(ch);
        *CBufferAreas::Put(*mStreamBuf) = ch;
        CBufferAreas::MovePut(*mStreamBuf, 1);
        ++mWritten;
        mLastChar = ch;
    }
    /// Each unit of the underlying buffer carries two bytes, low byte first; both are delivered.
    void SetByteSplit(bool on) noexcept { mByteSplit = on; }

    // --- places

    /// Makes (if null) and resets a state to that of an unread stream.
    virtual void InitState(CStreamStatePtr& state) const;
    /// Takes the place that is reached now into a new state.
    virtual void SaveState(CStreamStatePtr& state);
    /// Goes on from a saved place, or afresh without one; the caller has set the underlying
    /// buffer's position.
    virtual void RestoreState(const CStreamStatePtr& state);

  protected:
    /// Reads one token from the characters.
    virtual void ReadToken(CToken& token) = 0;

    bool ReturnsComments() const noexcept { return mReturnComments; }
    bool ReturnsWhiteSpace() const noexcept { return mReturnWhiteSpace; }
    void CountLine() noexcept { ++mLine; }
    void DropPushedBackTokens() noexcept { mTokenPushBackCount = 0; }
    void StartLine() noexcept { mAtLineStart = true; }
    /// Reads a new token into the current one, whatever is pushed back.
    void ReadCurrentToken();
    /// Goes to where a cursor has got to, with all but the current token.
    void PassInPlace(const CInPlaceCursor& cursor) {
        mTokenOffset = mUnitOffset + static_cast<ACharStreamOff>(cursor.TokenUnits());
        TakeUnits(cursor.Units());
        mLine += cursor.Lines();
    }
    /// A reader says so when it meets the first character of the token that it reads.
    void MarkTokenStart() noexcept {
        mTokenOffset = mUnitOffset - static_cast<ACharStreamOff>(UnitsHeld() + mPushBackCount);
    }
    /// Reads the next unit as it is, past any decoding; nothing may be pushed back.
    LexChar ReadByte();

    /// The units that lie ready in the underlying buffer, from the next one to be read on. Empty while
    /// a character is pushed back, or held in a way that does not let it be handed back.
    std::wstring_view ReadyUnits() {
        if (mStreamBuf == nullptr || mPushBackCount != 0 || mWaitingCount != 0 || mByteSplit) return {};
        if (mLookAheadUnits != 0 && !HandBack()) return {};
        constexpr std::size_t kMost = std::size_t{1} << 30;  // a get area is moved by an int
        const wchar_t*        next  = CBufferAreas::Next(*mStreamBuf);
        const auto            ready = static_cast<std::size_t>(CBufferAreas::End(*mStreamBuf) - next);
        return {next, std::min({ready, mUnitsLeft, kMost})};
    }
    /// Consumes so many of them, which are characters as they stand.
    void TakeUnits(std::size_t count) {
        CBufferAreas::Move(*mStreamBuf, static_cast<std::ptrdiff_t>(count));
        mUnitsLeft -= count;
        mUnitOffset += static_cast<ACharStreamOff>(count);
    }
    /// Whether units below 128 are characters as they stand.
    bool IsAsciiPlain() const noexcept { return mCodeCvt != kImbuedStream; }
    bool IsUtf8() const noexcept { return mCodeCvt == kUtf8Units; }

    /// Takes the place into a state of the derived class's making.
    void SaveStateInto(CToken_stream_state& saved);
    /// Units that a text takes in the underlying buffer.
    std::size_t UnitsOf(std::wstring_view text) const;
    /// Writes characters one after the other.
    void PutText(std::wstring_view text) {
        if (text.size() == 1) return PutChar(text[0]);
        if (text.empty() || PutAscii(text)) return;
        for (const wchar_t ch : text)
            PutChar(ch);
    }
    /// Writes one unit as it is, past any encoding.
    void PutUnit(wchar_t unit);
    bool IsFormatting() const noexcept { return mFormatting; }
    /// Units that can be written where the underlying buffer has room, and nothing that counts.
    std::pair<wchar_t*, std::size_t> ReadyRoom() noexcept {
        if (mStreamBuf == nullptr || CBufferAreas::End(*mStreamBuf) > CBufferAreas::Put(*mStreamBuf))
            return {nullptr, 0};
        return {CBufferAreas::Put(*mStreamBuf), CBufferAreas::Room(*mStreamBuf)};
    }
    wchar_t        LastChar() const noexcept { return mLastChar; }
    ETokenType     LastType() const noexcept { return mLastType; }
    void           SetLastType(ETokenType type) noexcept { mLastType = type; }
    const AString& BlockBegin() const noexcept { return mBlockBegin; }
    const AString& BlockEnd() const noexcept { return mBlockEnd; }

  private:
    static constexpr std::size_t kMaxUnits = 4;  ///< the longest UTF-8 form

    bool           Find(const ETokenType* type, const AString& text, bool atLineStartOnly);
    ACharStreamOff CurrentOffset() const;
    void           PutAnyChar(wchar_t ch);
    bool           PutAscii(std::wstring_view text);
    bool           HandBack();
    LexChar        ReadUnit();
    LexChar        ReadWholeUnit();
    LexChar        NextUnit();
    void           LoadLookAhead();
    void           DecodeUtf8(LexChar lead);
    std::size_t    UnitsHeld() const noexcept { return mLookAheadUnits + mWaitingCount; }

    std::wstreambuf* mStreamBuf;
    EDirection       mDirection;
    bool             mReturnComments   = false;
    bool             mReturnWhiteSpace = false;
    ECaseMode        mCaseMode         = kCaseKeep;
    ECodeCvt         mCodeCvt          = kUtf8Units;
    std::locale      mStreamLocale;

    CToken        mCurrentToken;
    std::uint32_t mLine        = 1;
    bool          mAtLineStart = true;

    std::array<LexChar, kMaxPushBack>               mPushBack{};
    std::size_t                                     mPushBackCount = 0;
    std::array<CPushedBackToken, kMaxTokenPushBack> mTokenPushBack;
    std::size_t                                     mTokenPushBackCount = 0;

    LexChar                        mLookAhead = kEndOfInput;  ///< read but not consumed, when it takes units
    std::size_t                    mLookAheadUnits = 0;  ///< units that it was decoded from; 0: none is held
    std::array<LexChar, kMaxUnits> mWaiting{};           ///< units read behind the look-ahead, in order
    std::size_t                    mWaitingCount = 0;
    std::size_t                    mUnitsLeft    = static_cast<std::size_t>(-1);

    ACharStreamOff mUnitOffset  = 0;  ///< behind the last unit read
    ACharStreamOff mTokenOffset = 0;  ///< of the token read last
    bool           mByteSplit   = false;
    LexChar        mSplitByte   = kEndOfInput;  ///< the second byte of the unit read last

    bool          mFormatting  = true;
    bool          mWriteFailed = false;
    wchar_t       mLastChar    = 0;
    ETokenType    mLastType    = ETokenType::Eol;
    std::uint32_t mWritten     = 0;
    CNumberFormat mNumberFormat;
    AString       mBlockBegin;
    AString       mBlockEnd;
};

}  // namespace io
