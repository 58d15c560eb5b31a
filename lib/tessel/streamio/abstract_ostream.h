#pragma once

#include "tessel/streamio/abstract_stream.h"

namespace io {

/// A block stream to write to: a character stream, a place in it, and the indentation.
class CAbstract_ostream : public CAbstract_stream {
  public:
    bool good() const override { return mGood && mStream && mStream->good(); }
    bool fail() const override { return !mGood || !mStream || mStream->fail(); }

    /// The place reached now, to come back to.
    virtual CAbstract_stream_pos GetPos() = 0;
    /// Goes to a place. A place that cannot be reached fails the stream.
    virtual void SetPos(const CAbstract_stream_pos& pos) = 0;

    /// One level of indentation is `width` copies of `ch`; one tab unless changed.
    void SetIndentation(std::size_t width, wchar_t ch) noexcept {
        mIndentWidth = width;
        mIndentChar  = ch;
    }
    std::size_t IndentWidth() const noexcept { return mIndentWidth; }
    wchar_t     IndentChar() const noexcept { return mIndentChar; }

  protected:
    /// @param stream  the characters; null is a stream that has failed.
    explicit CAbstract_ostream(std::unique_ptr<std::wostream> stream) : mStream(std::move(stream)) {}

    std::wostream*   CharStream() const noexcept { return mStream.get(); }
    std::wstreambuf* CharBuffer() const { return mStream ? mStream->rdbuf() : nullptr; }
    /// Moves the characters to an offset. False when the stream did not land exactly there.
    bool SeekChars(const CAbstract_stream_pos& pos);
    /// Whether something other than a line end stands before the offset at which the stream stands. False
    /// also when that cannot be read.
    bool IsBehindUnendedLine(ACharStreamOff offset);
    /// Hands everything to the system, and closes the stream if it is a file. False when that, or
    /// anything before it, went wrong.
    bool CloseChars();

  private:
    std::unique_ptr<std::wostream> mStream;
    std::size_t                    mIndentWidth = 1;
    wchar_t                        mIndentChar  = L'\t';
};

}  // namespace io
