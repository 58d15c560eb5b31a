#pragma once

#include "tessel/streamio/base_grammar.h"

#include <array>
#include <cstddef>

namespace io {

/// A grammar's states and classes taken together for the characters below 128: where each leads from
/// each state. Taken from the grammar as it is then.
class CLexTable {
  public:
    static constexpr std::size_t kChars = 128;

    explicit CLexTable(const CBase_grammar& grammar);

    /// The state that `ch` leads to. @pre `!IsFinal(state) && ch < kChars`.
    ELexState Next(ELexState state, wchar_t ch) const noexcept {
        return mNext[state][static_cast<std::size_t>(ch)];
    }
    /// Whether `ch` is one of the table's, and leads from one state to the other.
    bool Leads(ELexState from, wchar_t ch, ELexState to) const noexcept {
        return Has(ch) && Next(from, ch) == to;
    }
    /// Whether `ch` is one of the table's, and leads from `state` to itself.
    bool Stays(ELexState state, wchar_t ch) const noexcept { return Leads(state, ch, state); }
    /// Whether `ch` is one of the table's.
    static constexpr bool Has(wchar_t ch) noexcept { return static_cast<std::uint32_t>(ch) < kChars; }
    /// Whether the tokens of line ends, symbols and quoted texts are complete with their last character,
    /// whatever character of the 16-bit range follows it, numbers are written with decimal digits, and each
    /// state does with a character what the library's own grammars do. Only then does what stands in a buffer
    /// tell the token.
    bool IsPlain() const noexcept { return mPlain; }

  private:
    bool HasPlainDigits() const noexcept;
    bool HasPlainQuotes() const noexcept;

    std::array<std::array<ELexState, kChars>, kFirstFinalState> mNext{};
    bool                                                        mPlain = false;
};

}  // namespace io
