#pragma once

#include "tessel/streamio/in_place_cursor.h"
#include "tessel/streamio/lex_table.h"
#include "tessel/streamio/token_grammar_default.h"
#include "tessel/streamio/token_streambuf.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace io {

/// The text form's place: besides what all have, how lines and numbers are written there.
class CToken_textstream_state : public CToken_stream_state {
  public:
    CNumberFormat            mNumberFormat;
    std::wstring             mIndentation;
    std::vector<std::size_t> mIndents;
};

/// The text form: runs a grammar's state machine over the characters, and writes tokens so that it
/// tells them apart again.
class CToken_textstreambuf : public CToken_streambuf {
  public:
    /// @param a_streambuf  borrowed, as in the base class.
    /// @param grammar      borrowed, must live as long and not change meanwhile.
    explicit CToken_textstreambuf(std::wstreambuf*     a_streambuf,
                                  const CBase_grammar& grammar   = CToken_grammar_default::Shared(),
                                  EDirection           direction = EDirection::kRead);

    void        SkipToEol() override;
    void        NewLine(AString& line) override;
    EFormatKind FormatKind() const noexcept override { return kFormatText; }
    void        ShareTexts(bool on) override;
    bool        OpenInPlace(CInPlaceCursor& cursor) override;
    bool        OpenLines(CLineRoom& room) noexcept override;

    /// Keeps the characters that numbers, booleans and the like were read from.
    void SetKeepText(bool on) noexcept { mKeepText = on; }
    /// Reads "#inf" and "#nan" as numbers.
    void SetSpecialNumbers(bool on) noexcept { mSpecialNumbers = on; }

    const CBase_grammar& Grammar() const noexcept { return mGrammar; }

    void WriteComment(std::wstring_view text) override;
    void WriteQuotedText(std::wstring_view text) override;
    void WriteKeyword(std::wstring_view text) override;
    void WriteSymbol(wchar_t ch) override;
    void WriteDouble(double value, int precision) override;
    void WriteFloat(float value, int precision) override;
    void WriteShort(std::int16_t value) override;
    void WriteInt(std::int32_t value) override;
    void WriteLong(std::int32_t value) override;
    void WriteUnsignedShort(std::uint16_t value) override;
    void WriteUnsignedInt(std::uint32_t value) override;
    void WriteUnsignedLong(std::uint32_t value) override;
    void WriteHex(std::uint32_t value) override;
    void WriteBool(bool value) override;
    void WriteText(std::wstring_view text) override;
    void WriteCData(std::wstring_view text) override;
    void WriteWhiteSpace(std::wstring_view text) override;
    void WriteEol(bool force) override;

    void WriteValueToken(const CToken& token) override;
    void WriteNameToken(const CToken& token) override;
    void WriteBlockName(const CToken& token) override;

    void              Indent(std::size_t width, wchar_t ch) override;
    void              Unindent() override;
    bool              IsIndented() const noexcept override { return !mIndents.empty(); }
    std::size_t       IndentationLength() const override { return UnitsOf(mIndentation); }
    std::wstring_view Indentation() const noexcept override { return mIndentation; }

    /// Lines end with CR LF instead of LF.
    void SetCrLf(bool on) noexcept { mCrLf = on; }

    void InitState(CStreamStatePtr& state) const override;
    void SaveState(CStreamStatePtr& state) override;
    void RestoreState(const CStreamStatePtr& state) override;

  protected:
    void ReadToken(CToken& token) override;

  private:
    bool IsDefaultGrammar() const noexcept;

    // Reading where the characters lie: `token_textstreambuf_in_place.cpp`.
    bool ReadTokenInPlace(CToken& token);

    static bool IsRunState(ELexState state) noexcept;
    void        PassRun(ELexState state);

    /// A special number that may be being read; its spelling is matched character by character.
    enum class ESpecial { kNone, kInfinity, kNan };

    // The actions of the state machine. Each is called with the character not yet consumed, may
    // change `mNext`, and returns true when `token` is complete.
    bool Act(ELexAction action, CToken& token);
    bool ActInvalid(CToken& token);
    bool ActAppendOrSkip();
    bool ActEscaped();
    bool ActWordCharacter(CToken& token);
    bool ActCDataTag();
    bool ActEndLine(CToken& token);
    bool ActEndSymbol(CToken& token);
    bool ActEndWord(CToken& token);
    bool ActEndDelimited(CToken& token);
    bool ActEndCData(CToken& token);
    bool ActEndSkippable(CToken& token);
    bool ActEndPushBack(CToken& token, std::size_t count);

    void                Append(LexChar ch);
    void                AppendAndConsume();
    bool                Emit(CToken& token, ETokenType type);
    bool                EmitNumber(CToken& token, ETokenType type);
    bool                EmitPlain(CToken& token, ETokenType type);
    bool                EmitSpecialNumber(CToken& token);
    bool                GiveUpSpecialNumber(CToken& token);
    wchar_t             Cased(LexChar ch) const noexcept;
    const std::wstring& SpecialSpelling() const noexcept;
    void                SkipLine(AString* line);

    // Writing.
    void Separate(ETokenType type, wchar_t first);
    bool NeedsSpace(ETokenType type, wchar_t first) const;
    void PutToken(ETokenType type, std::wstring_view text);
    void PutQuoted(ETokenType type, std::wstring_view text, wchar_t quote, bool exact);
    void PutLineEnd();
    void PutNumber(ETokenType type, double value, std::wstring_view digits);
    bool PutExactCData(std::wstring_view text);
    void PutExactNumber(const CToken& token);
    bool IsExactKeyword(std::wstring_view text) const;
    bool IsWordByTable(std::wstring_view text) const noexcept;
    /// The kind of a text that the lexer would deliver as one token; `Error` for any other.
    ETokenType ScanWhole(std::wstring_view text) const;

    const CBase_grammar&             mGrammar;
    std::unique_ptr<const CLexTable> mOwnTable;  ///< of a grammar that is not the default one
    CRecentTexts                     mRecentTexts;
    const CLexTable*                 mTable;
    CInPlaceRules                    mInPlace;
    std::wstring                     mComposed;  ///< of `mInPlace`

    bool mKeepText       = false;
    bool mSpecialNumbers = false;

    // The token being gathered.
    std::wstring mText;
    ELexState    mNext         = kStart;  ///< the state that the machine enters
    LexChar      mCh           = kEndOfInput;
    std::size_t  mCDataMatched = 0;  ///< characters of the closing tag seen
    ESpecial     mSpecial      = ESpecial::kNone;

    std::wstring             mIndentation;  ///< what a line begins with
    std::vector<std::size_t> mIndents;      ///< widths of its levels
    bool                     mCrLf = false;
};

}  // namespace io
