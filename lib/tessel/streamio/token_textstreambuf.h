#pragma once

#include "tessel/streamio/token_grammar_default.h"
#include "tessel/streamio/token_streambuf.h"

#include <string>

namespace io {

/// The text form: runs a grammar's state machine over the characters.
class CToken_textstreambuf : public CToken_streambuf {
  public:
    /// @param a_streambuf  borrowed, as in the base class.
    /// @param grammar      borrowed, must live as long and not change meanwhile.
    explicit CToken_textstreambuf(std::wstreambuf*     a_streambuf,
                                  const CBase_grammar& grammar = CToken_grammar_default::Shared());

    void        SkipToEol() override;
    void        NewLine(AString& line) override;
    EFormatKind FormatKind() const noexcept override { return kFormatText; }

    /// Keeps the characters that numbers, booleans and the like were read from.
    void SetKeepText(bool on) noexcept { mKeepText = on; }
    /// Reads "#inf" and "#nan" as numbers.
    void SetSpecialNumbers(bool on) noexcept { mSpecialNumbers = on; }

    const CBase_grammar& Grammar() const noexcept { return mGrammar; }

  protected:
    void ReadToken(CToken& token) override;

  private:
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

    const CBase_grammar& mGrammar;
    bool                 mKeepText       = false;
    bool                 mSpecialNumbers = false;

    // The token being gathered.
    std::wstring mText;
    ELexState    mNext         = kStart;  ///< the state that the machine enters
    LexChar      mCh           = kEndOfInput;
    std::size_t  mCDataMatched = 0;  ///< characters of the closing tag seen
    ESpecial     mSpecial      = ESpecial::kNone;
};

}  // namespace io
