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
    bool Write(const CBlock_item& item);
    bool WriteBlock(const CBlock& block);
    bool WriteFrame(std::size_t indentation, std::wstring_view keyword, const CToken& name);

    wchar_t* StartLine(std::size_t indentation) const noexcept;
    bool     EndLine(wchar_t* next) noexcept;
    wchar_t* PutItem(const CBlock_item& item, wchar_t* next) const;
    wchar_t* PutVec(const CBlock_vec& vec, wchar_t* next) const;
    wchar_t* PutFunc(const CBlock_func& func, wchar_t* next) const;
    wchar_t* PutName(const CToken& name, wchar_t* next) const;
    wchar_t* PutValue(const CToken& value, wchar_t* next) const;
    wchar_t* PutText(const CToken& text, wchar_t* next) const;
    wchar_t* PutWord(std::wstring_view text, wchar_t* next) const noexcept;
    wchar_t* PutQuoted(const CToken& text, wchar_t quote, wchar_t* next) const noexcept;
    wchar_t* PutEscaped(std::wstring_view text, wchar_t quote, wchar_t* next) const noexcept;
    bool     PutBeyondAscii(wchar_t*& next, wchar_t ch) const noexcept;
    wchar_t* PutNumber(double value, wchar_t* next) const noexcept;
    wchar_t* PutInSteps(std::wstring_view text, wchar_t* next) const noexcept;
    wchar_t* Put(std::wstring_view text, wchar_t* next) const noexcept;

    /// Whether something has been put up to `next`, and so many units fit there. Behind them there is room
    /// for what may be put without asking: at most ":]" and a line end, which end an empty vector.
    bool Fits(std::size_t units, const wchar_t* next) const noexcept {
        constexpr std::size_t kBetween = 4;
        return next != nullptr && static_cast<std::size_t>(mRoom.mLimit - next) >= units + kBetween;
    }

    static constexpr std::size_t kStep = CToken::kTextStep;

    CToken_ostream&            mStream;
    CToken_streambuf&          mBuffer;
    bool                       mUsual;  ///< streams of a class of their own may write in a way of their own
    CLineRoom                  mRoom;   ///< `mNext`: behind the last whole line
    std::wstring_view          mIndentation;
    std::array<wchar_t, kStep> mIndentationStart{};  ///< its first units
    bool                       mPlainFrames = false;
    std::uint32_t              mLines       = 0;  ///< composed since the room was opened
};

}  // namespace io
