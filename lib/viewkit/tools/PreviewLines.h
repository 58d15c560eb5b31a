#pragma once

#include "tessel/strings/astringwchar.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace ProjectPreviewHelper {

/// The lines of a preview block, read from the file's bytes where they lie. It knows only what the suite
/// writes, and of that what is ASCII: begin and end of a block, a name with a value, a name with a list, each
/// whole on its line. Those the block reader takes for just that. A line of any other shape is not judged
/// here: the block has to be read by the block reader then.
class CPreviewLines {
  public:
    enum class EKind { kBegin, kEnd, kText, kOther, kUnknown };

    /// @param bytes  of a text file, from the begin of the preview block on, and a NUL behind them; must live
    ///               as long as this.
    explicit CPreviewLines(std::string_view bytes) noexcept
        : mNext(bytes.data()), mEnd(bytes.data() + bytes.size()) {}

    /// Goes to the next line that is not blank. The kinds: a block's begin and end; a name with a quoted
    /// text; a name with another value or a list; none of these. Nor are they known when blocks nest deeper
    /// than those of a preview, or end under another name.
    EKind Next() noexcept;
    /// Blocks that are open: 1 in the preview block itself, 2 in a block of it, 0 behind it.
    std::size_t Depth() const noexcept { return mDepth; }
    /// Of the block, or in front of the value. Any other line: unspecified.
    std::string_view Name() const noexcept { return mName; }
    /// Of a line with a quoted text: that text.
    AString Text() const;
    /// The same as it stands there: one that is folded has a backslash before each line end.
    std::string_view Ascii() const noexcept { return mText; }
    bool             IsFolded() const noexcept { return mIsFolded; }
    std::string      Unfolded() const;

    /// Whether the line has this name, as blocks compare the names of their items.
    bool IsNamed(std::string_view name) const noexcept {
        return mName.size() == name.size() && (mName == name || IsSameName(mName, name));
    }

  private:
    static bool IsSameName(std::string_view one, std::string_view other) noexcept;

    bool Take(char ch) noexcept {
        if (*mNext != ch) return false;
        ++mNext;
        return true;
    }
    template <std::size_t size>
    bool Take(const char (&word)[size]) noexcept {
        if (mEnd - mNext < std::ptrdiff_t{size - 1} || std::memcmp(mNext, word, size - 1) != 0) return false;
        mNext += size - 1;
        return true;
    }
    void SkipBlanks() noexcept {
        while (*mNext == ' ' || *mNext == '\t')
            ++mNext;
    }
    bool TakeLineEnd() noexcept {
        SkipBlanks();
        return Take('\n') || mNext == mEnd || Take("\r\n");
    }
    bool  TakeQuoted(std::string_view& text) noexcept;
    bool  TakeName(std::string_view& name) noexcept;
    bool  TakeValue() noexcept;
    bool  TakeList() noexcept;
    bool  TakeFrameName() noexcept;
    EKind Begin() noexcept;
    EKind End() noexcept;

    static constexpr std::size_t kDepth = 2;

    const char*      mNext;  ///< what is looked at may be the NUL at the end
    const char*      mEnd;
    std::string_view mName;
    std::string_view mText;
    bool             mIsFolded = false;            ///< what was read between quotes last has line ends
    std::array<std::string_view, kDepth> mBlocks;  ///< names of those that are open
    std::size_t                          mDepth = 0;
};

}  // namespace ProjectPreviewHelper
