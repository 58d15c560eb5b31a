#pragma once

#include "tessel/streamio/abstract_stream.h"

namespace io {

/// A block stream to read from: a character stream and a place in it.
class CAbstract_istream : public CAbstract_stream {
  public:
    bool good() const override { return mGood && mStream && mStream->good(); }
    bool fail() const override { return !mGood || !mStream || mStream->fail(); }

    /// The place reached now, to come back to.
    virtual CAbstract_stream_pos GetPos() = 0;
    /// Goes to a place. A place that cannot be reached fails the stream.
    virtual void SetPos(const CAbstract_stream_pos& pos) = 0;

  protected:
    /// @param stream  the characters; null is a stream that has failed.
    explicit CAbstract_istream(std::unique_ptr<std::wistream> stream) : mStream(std::move(stream)) {}

    std::wistream*   CharStream() const noexcept { return mStream.get(); }
    std::wstreambuf* CharBuffer() const { return mStream ? mStream->rdbuf() : nullptr; }
    /// Moves the characters to an offset. False when the stream did not land exactly there.
    bool SeekChars(const CAbstract_stream_pos& pos);

  private:
    std::unique_ptr<std::wistream> mStream;
};

}  // namespace io
