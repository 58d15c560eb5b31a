#pragma once

#include "tessel/streamio/base_grammar.h"

#include <array>
#include <string_view>

namespace io {

/// The keywords that open and close blocks, for who looks at many words, hardly one of which begins as they
/// do.
class CFrameWords {
  public:
    CFrameWords() = default;
    /// @param begin, end  borrowed.
    CFrameWords(std::wstring_view begin, std::wstring_view end) noexcept
        : mBegin(begin), mEnd(end), mFirst{First(begin), First(end)} {}

    std::wstring_view Begin() const noexcept { return mBegin; }
    std::wstring_view End() const noexcept { return mEnd; }
    /// Whether a word begins as one of them does, in whatever case. @pre it is not empty.
    bool BeginAs(std::wstring_view word) const noexcept {
        const wchar_t first = AString::LowerChar(word[0]);
        return first == mFirst[0] || first == mFirst[1];
    }
    /// Whether a word is one of them, in whatever case. @pre it is not empty.
    bool Are(std::wstring_view word) const noexcept {
        return BeginAs(word) &&
               (CBase_grammar::SameWord(word, mBegin) || CBase_grammar::SameWord(word, mEnd));
    }

  private:
    static wchar_t First(std::wstring_view word) noexcept {
        return word.empty() ? L'\0' : AString::LowerChar(word[0]);
    }

    std::wstring_view      mBegin, mEnd;
    std::array<wchar_t, 2> mFirst{};
};

}  // namespace io
