#include "tessel/streamio/fast_istreambuf.h"

#include "tessel/platform/platform.h"
#include "tessel/streamio/utf8.h"

#include <algorithm>

namespace io {

template <class CharT>
bool CFastIStreamBuf<CharT>::Open(const AString& path) {
    Close();
    std::int64_t size = 0;
    const int    file = platform::OpenDescriptor(path.CStr(), &size);
    if (file == kNoFile) return false;
    Open(file, size);
    mOwnsFile = true;
    return true;
}

template <class CharT>
void CFastIStreamBuf<CharT>::Open(int descriptor, std::int64_t size) noexcept {
    Close();
    mFile        = descriptor;
    mOwnsFile    = false;
    mSizePlusOne = size + 1;
    GoTo(0);
}

template <class CharT>
void CFastIStreamBuf<CharT>::Close() noexcept {
    if (!IsOpen()) return;
    if (mOwnsFile) platform::CloseDescriptor(mFile);
    mFile = kNoFile;
    this->setg(nullptr, nullptr, nullptr);
}

template <class CharT>
void CFastIStreamBuf<CharT>::GoTo(std::int64_t offset) noexcept {
    mReadOffset = offset;
    this->setg(BufferStart(), BufferStart(), BufferStart());
}

template <class CharT>
std::size_t CFastIStreamBuf<CharT>::Fill(std::size_t used, std::size_t most) noexcept {
    // On the stack: streams of several threads refill at the same time.
    std::array<unsigned char, kBufferSize> bytes;
    const int                              count =
        platform::ReadDescriptorAt(mFile, mReadOffset, bytes.data(), static_cast<unsigned>(most));
    if (count <= 0) return 0;
    WidenBytes(bytes.data(), static_cast<std::size_t>(count), BufferStart() + used);
    mReadOffset += count;
    return static_cast<std::size_t>(count);
}

template <class CharT>
typename CFastIStreamBuf<CharT>::int_type CFastIStreamBuf<CharT>::underflow() {
    if (this->gptr() != this->egptr()) return traits::to_int_type(*this->gptr());
    if (!IsOpen()) return traits::eof();

    const auto held = static_cast<std::size_t>(this->egptr() - BufferStart());
    const bool full = held == kBufferSize;
    const auto kept = full ? std::min<std::ptrdiff_t>(kPutBack, this->gptr() - this->eback()) : 0;
    if (full) std::copy(this->gptr() - kept, this->gptr(), BufferStart() - kept);
    const std::size_t used  = full ? 0 : held;
    const std::size_t count = Fill(used, held == 0 ? kFirstFill : kBufferSize - used);
    if (count == 0) {
        GoTo(mReadOffset);
        return traits::eof();
    }
    this->setg(full ? BufferStart() - kept : this->eback(), BufferStart() + used,
               BufferStart() + used + count);
    return traits::to_int_type(*this->gptr());
}

template <class CharT>
typename CFastIStreamBuf<CharT>::int_type CFastIStreamBuf<CharT>::pbackfail(int_type ch) {
    if (this->gptr() == this->eback()) return traits::eof();
    this->gbump(-1);
    if (!traits::eq_int_type(ch, traits::eof())) *this->gptr() = traits::to_char_type(ch);
    return traits::not_eof(ch);
}

template <class CharT>
typename CFastIStreamBuf<CharT>::pos_type CFastIStreamBuf<CharT>::seekoff(off_type               offset,
                                                                          std::ios_base::seekdir from,
                                                                          std::ios_base::openmode) {
    const pos_type failed(off_type(-1));
    if (!IsOpen()) return failed;
    const std::int64_t current = mReadOffset - Unread();
    const std::int64_t base    = from == std::ios_base::beg   ? 0
                                 : from == std::ios_base::cur ? current
                                                              : mSizePlusOne;
    const std::int64_t target  = base + offset;
    if (target < 0 || target >= mSizePlusOne) return failed;

    const std::int64_t back = mReadOffset - target;  // from the end of the buffer
    if (back >= 1 && back <= Unread()) {
        this->setg(this->eback(), this->egptr() - back, this->egptr());
    } else if (target != current) {
        GoTo(target);
    }
    return pos_type(static_cast<off_type>(target));
}

template <class CharT>
typename CFastIStreamBuf<CharT>::pos_type CFastIStreamBuf<CharT>::seekpos(pos_type                position,
                                                                          std::ios_base::openmode which) {
    return seekoff(off_type(position), std::ios_base::beg, which);
}

template class CFastIStreamBuf<wchar_t>;

}  // namespace io
