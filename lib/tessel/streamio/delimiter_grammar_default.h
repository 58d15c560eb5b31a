#pragma once

#include "tessel/streamio/delimiter_grammar.h"

namespace io {

/// The shared grammar of word lists: "!" opens a comment, "(),=" are symbols. Adding characters to
/// it only fails an assertion; comment characters can be taken away, for everybody who uses it.
class CDelimiter_grammar_default final : public CDelimiter_grammar {
  public:
    CDelimiter_grammar_default();

    void AddCommentChars(const wchar_t* chars) override;
    void AddSymbolChars(const wchar_t* chars) override;

    /// The one instance; made when the program or module is loaded.
    static CDelimiter_grammar_default& Shared() noexcept;
};

}  // namespace io
