#pragma once

#include "tessel/streamio/base_grammar.h"

namespace io {

/// The grammar of block text: keywords, numbers (also hexadecimal), quoted texts, CDATA, and
/// one-character symbols for everything else.
class CToken_grammar : public CBase_grammar {
  public:
    CToken_grammar();

    ECharClass Classify(LexChar ch, ELexState state) const noexcept override;
    void       InitCharFlags() override;
    void       InitStateTables() override;

    virtual void AddKeywordStartChars(const wchar_t* chars);
    virtual void AddKeywordChars(const wchar_t* chars);
    virtual void RemoveKeywordStartChars(const wchar_t* chars);
    virtual void RemoveKeywordChars(const wchar_t* chars);

  private:
    ECharClass ClassifyByState(std::uint32_t flags, ELexState state) const noexcept;
};

}  // namespace io
