#pragma once

#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"

#include <memory>
#include <streambuf>
#include <string>
#include <string_view>

/// Bytes in memory as the block library wants them: streams of wide characters, one a byte.
namespace bench {

/// Reads as `CFastIStreamBuf` does, with memory for the file: pieces of the same size, each byte made wide.
class CMemoryInput final : public std::wstreambuf {
  public:
    /// @param bytes  borrowed.
    explicit CMemoryInput(std::string_view bytes) : mBytes(bytes) {}

  protected:
    int_type underflow() override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }

  private:
    static constexpr std::size_t kPutBack = 16;
    static constexpr std::size_t kPiece   = 10224;  // bytes

    std::string_view mBytes;
    std::size_t      mReached = 0;  ///< bytes up to the end of what is buffered
    wchar_t          mUnits[kPutBack + kPiece];
};

/// Appends to a text of bytes.
class CMemoryOutput final : public std::wstreambuf {
  public:
    /// @param bytes  borrowed.
    explicit CMemoryOutput(std::string& bytes) : mBytes(bytes) { setp(mUnits, mUnits + kPiece); }

  protected:
    int_type overflow(int_type unit) override;
    int      sync() override;

  private:
    static constexpr std::size_t kPiece = 4096;

    std::string& mBytes;
    wchar_t      mUnits[kPiece] = {};
};

/// A wide stream that owns its buffer.
template <class Stream, class Buffer>
class CStreamOver final : public Stream {
  public:
    template <class Source>
    explicit CStreamOver(Source& source) : Stream(nullptr), mBuffer(source) {
        this->rdbuf(&mBuffer);
    }

  private:
    Buffer mBuffer;
};

/// @param bytes  borrowed.
inline std::unique_ptr<std::wistream> OpenMemory(const std::string& bytes) {
    return std::make_unique<CStreamOver<std::wistream, CMemoryInput>>(bytes);
}
inline std::unique_ptr<std::wostream> OpenMemoryToWrite(std::string& bytes) {
    return std::make_unique<CStreamOver<std::wostream, CMemoryOutput>>(bytes);
}

}  // namespace bench
