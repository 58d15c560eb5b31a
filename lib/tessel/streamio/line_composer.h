#pragma once

#include "tessel/streamio/line_room.h"
#include "tessel/streamio/token_ostream.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace io {

class CBlock;
class CBlock_func;
class CBlock_item;
class CBlock_vec;

/// Writes the items of a block where their characters go, a line at a time. It knows what is usual: named
/// values, vectors and functions of plain tokens, and named blocks. Any other item writes itself, token by
/// token. What is written is the same either way.
class CLineComposer {
  public:
    /// @param stream  borrowed; used by nobody else while this lives, but by items that write themselves.
    explicit CLineComposer(CToken_ostream& stream) noexcept;
    CLineComposer(const CLineComposer&)            = delete;
    CLineComposer& operator=(const CLineComposer&) = delete;
    ~CLineComposer() { Close(); }

    /// Writes what a block holds.
    void WriteItems(const CBlock& block);

  private:
    bool Open() noexcept;
    void Close() noexcept;
    void TakeIndentation() noexcept;
    bool StartLine(std::size_t indentation) noexcept;
    bool EndLine() noexcept;
    bool Write(const CBlock_item& item);
    bool WriteBlock(const CBlock& block);
    bool WriteFrame(std::size_t indentation, std::wstring_view keyword, const CToken& name);
    bool PutItem(const CBlock_item& item);
    bool PutVec(const CBlock_vec& vec);
    bool PutFunc(const CBlock_func& func);
    bool PutName(const CToken& name);
    bool PutValue(const CToken& value);
    bool PutText(const CToken& text);
    bool IsFrame(std::wstring_view word) const noexcept;
    bool PutWord(std::wstring_view text) noexcept;
    bool PutQuoted(const CToken& text, wchar_t quote) noexcept;
    bool PutEscaped(std::wstring_view text, wchar_t quote) noexcept;
    bool PutBeyondAscii(wchar_t*& next, wchar_t ch) const noexcept;
    bool PutNumber(double value);
    bool PutInSteps(std::wstring_view text) noexcept;
    bool Put(std::wstring_view text) noexcept;
    bool Put(wchar_t ch) noexcept {
        if (mNext == mRoom.mLimit) return false;
        *mNext++ = ch;
        return true;
    }
    bool Fits(std::size_t units) const noexcept {
        return static_cast<std::size_t>(mRoom.mLimit - mNext) >= units;
    }

    static constexpr std::size_t kStep = CToken::kTextStep;

    CToken_ostream&            mStream;
    CToken_streambuf&          mBuffer;
    bool                       mUsual;  ///< streams of a class of their own may write in a way of their own
    CLineRoom                  mRoom;   ///< `mNext`: behind the last whole line
    std::wstring_view          mIndentation;
    std::array<wchar_t, kStep> mIndentationStart{};  ///< its first units
    std::array<wchar_t, 2>     mFrameFirst{};        ///< how the keywords of blocks begin, in lower case
    bool                       mPlainFrames = false;
    wchar_t*                   mNext        = nullptr;  ///< in the line being composed
    std::uint32_t              mLines       = 0;        ///< composed since the room was opened
};

}  // namespace io
