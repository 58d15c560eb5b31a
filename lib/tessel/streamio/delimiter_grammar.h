#pragma once

#include "tessel/streamio/base_grammar.h"

namespace io {

/// The grammar of word lists: a word is any run of characters that are no white space, line end,
/// quote, comment or symbol character. It has no keywords, hexadecimal numbers or CDATA.
class CDelimiter_grammar : public CBase_grammar {
  public:
    CDelimiter_grammar();

    ECharClass Classify(LexChar ch, ELexState state) const noexcept override;
    void       InitCharFlags() override;
    void       InitStateTables() override;

    /// Makes each character of a NUL-terminated text a token of its own.
    virtual void AddSymbolChars(const wchar_t* chars);
};

}  // namespace io
