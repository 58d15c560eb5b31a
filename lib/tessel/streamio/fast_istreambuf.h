#pragma once

#include "tessel/strings/astringwchar.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <streambuf>

namespace io {

/// Reads a file as fast as it can be had: each byte is one wide character of the same value.
/// Read only; the file is opened for shared reading and closed with the buffer.
///
/// Seeking: the end counts as one place behind the file's last position, so `seekoff(0, end)` fails
/// and `seekoff(-1, end)` stands at the end of the file; `seekpos` of the file's length succeeds too.
/// The length is the one the file had when it was opened.
template <class CharT>
class CFastIStreamBuf : public std::basic_streambuf<CharT> {
  public:
    using Base     = std::basic_streambuf<CharT>;
    using int_type = typename Base::int_type;
    using pos_type = typename Base::pos_type;
    using off_type = typename Base::off_type;
    using traits   = typename Base::traits_type;

    CFastIStreamBuf() {}  // not defaulted: that would clear the buffer
    ~CFastIStreamBuf() override { Close(); }

    /// Opens a regular file. False when it cannot.
    bool Open(const AString& path);
    /// Reads a file that somebody else has open, and keeps open as long as it is read here.
    /// @param size  its length in bytes.
    void Open(int descriptor, std::int64_t size) noexcept;
    bool IsOpen() const noexcept { return mFile != kNoFile; }
    void Close() noexcept;

  protected:
    int_type underflow() override;
    int_type pbackfail(int_type ch = traits::eof()) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

  private:
    static constexpr int         kNoFile     = -1;
    static constexpr std::size_t kPutBack    = 16;     ///< characters kept from before a refill
    static constexpr std::size_t kBufferSize = 10224;  ///< characters, bytes of the file, that it holds
    /// What is read first where reading begins: enough for who looks at the first character only, or reads
    /// one small block. The next refill is the rest of the buffer, and from then on all of it.
    static constexpr std::size_t kFirstFill = 2048;

    CharT*       BufferStart() noexcept { return mBuffer.data() + kPutBack; }
    std::int64_t Unread() const noexcept { return this->egptr() - this->gptr(); }
    /// Empties the buffer; the next refill is from there.
    void GoTo(std::int64_t offset) noexcept;
    /// Reads up to `most` bytes behind the `used` characters of the buffer; 0 at the end or on an error.
    std::size_t Fill(std::size_t used, std::size_t most) noexcept;

    int                                       mFile        = kNoFile;
    bool                                      mOwnsFile    = false;
    std::int64_t                              mReadOffset  = 0;  ///< in the file, behind the last byte read
    std::int64_t                              mSizePlusOne = 0;
    std::array<CharT, kPutBack + kBufferSize> mBuffer;
};

extern template class CFastIStreamBuf<wchar_t>;

}  // namespace io
