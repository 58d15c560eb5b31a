#pragma once

#include "tessel/streamio/lex_table.h"
#include "tessel/streamio/token_grammar.h"

namespace io {

/// The grammar that block streams use when none is given: "!" opens a comment. It is shared, so
/// every operation that would change it only fails an assertion.
class CToken_grammar_default final : public CToken_grammar {
  public:
    CToken_grammar_default();

    void AddCommentChars(const wchar_t* chars) override;
    void RemoveCommentChars(const wchar_t* chars) override;
    void AddKeywordStartChars(const wchar_t* chars) override;
    void AddKeywordChars(const wchar_t* chars) override;
    void RemoveKeywordStartChars(const wchar_t* chars) override;
    void RemoveKeywordChars(const wchar_t* chars) override;

    /// The one instance; made when the program or module is loaded.
    static CToken_grammar_default& Shared() noexcept;
    /// Its table.
    static const CLexTable& SharedTable() noexcept;
};

}  // namespace io
