#include "tessel/streamio/fast_istreambuf.h"

#include "tessel/platform/platform.h"

#include <algorithm>
#include <cstdio>

namespace io {

template <class CharT>
bool CFastIStreamBuf<CharT>::Open(const AString& path) {
    Close();
    const int file = platform::OpenDescriptor(path.CStr());
    if (file == kNoFile) return false;
    const std::int64_t size = platform::SeekDescriptor(file, 0, SEEK_END);
    if (size < 0 || platform::SeekDescriptor(file, 0, SEEK_SET) != 0) {
        platform::CloseDescriptor(file);
        return false;
    }
    mFile        = file;
    mSizePlusOne = size + 1;
    mReadOffset  = 0;
    this->setg(BufferStart(), BufferStart(), BufferStart());
    return true;
}

template <class CharT>
void CFastIStreamBuf<CharT>::Close() noexcept {
    if (!IsOpen()) return;
    platform::CloseDescriptor(mFile);
    mFile = kNoFile;
    this->setg(nullptr, nullptr, nullptr);
}

template <class CharT>
typename CFastIStreamBuf<CharT>::int_type CFastIStreamBuf<CharT>::underflow() {
    if (this->gptr() != this->egptr()) return traits::to_int_type(*this->gptr());
    if (!IsOpen()) return traits::eof();

    // On the stack: streams of several threads refill at the same time.
    std::array<unsigned char, kBufferSize> bytes;
    const int count = platform::ReadDescriptor(mFile, bytes.data(), static_cast<unsigned>(bytes.size()));
    if (count <= 0) {
        this->setg(BufferStart(), BufferStart(), BufferStart());
        return traits::eof();
    }
    const auto kept = std::min<std::ptrdiff_t>(kPutBack, this->gptr() - this->eback());
    std::copy(this->gptr() - kept, this->gptr(), BufferStart() - kept);
    std::copy_n(bytes.data(), count, BufferStart());
    mReadOffset += count;
    this->setg(BufferStart() - kept, BufferStart(), BufferStart() + count);
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
        if (platform::SeekDescriptor(mFile, target, SEEK_SET) != target) return failed;
        mReadOffset = target;
        this->setg(BufferStart(), BufferStart(), BufferStart());
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
