#include "bench/memory_streams.h"

#include "tessel/streamio/utf8.h"

#include <algorithm>
#include <array>

namespace bench {

CMemoryInput::int_type CMemoryInput::underflow() {
    if (gptr() != egptr()) return traits_type::to_int_type(*gptr());
    const std::size_t kept  = std::min(kPutBack, mReached);
    const std::size_t count = std::min(kPiece, mBytes.size() - mReached);
    if (count == 0) return traits_type::eof();
    const auto piece = mBytes.substr(mReached - kept, kept + count);
    io::WidenBytes(reinterpret_cast<const unsigned char*>(piece.data()), piece.size(), mUnits);
    mReached += count;
    setg(mUnits, mUnits + kept, mUnits + kept + count);
    return traits_type::to_int_type(*gptr());
}

CMemoryInput::pos_type CMemoryInput::seekoff(off_type offset, std::ios_base::seekdir from,
                                             std::ios_base::openmode) {
    const auto here   = static_cast<off_type>(mReached) - (egptr() - gptr());
    const auto end    = static_cast<off_type>(mBytes.size());
    const auto target = offset + (from == std::ios_base::beg ? 0 : from == std::ios_base::cur ? here : end);
    if (target < 0 || target > end) return pos_type(off_type(-1));
    if (target != here) {
        mReached = static_cast<std::size_t>(target);
        setg(nullptr, nullptr, nullptr);
    }
    return pos_type(target);
}

int CMemoryOutput::sync() {
    // All that may be there, in a number that is fixed and to where nothing else can reach, of which
    // compilers make wide instructions; what is behind the last unit is left away.
    std::array<char, kPiece> bytes;
    for (std::size_t i = 0; i < kPiece; ++i)
        bytes[i] = static_cast<char>(mUnits[i]);
    mBytes.append(bytes.data(), static_cast<std::size_t>(pptr() - pbase()));
    setp(mUnits, mUnits + kPiece);
    return 0;
}

CMemoryOutput::int_type CMemoryOutput::overflow(int_type unit) {
    sync();
    return traits_type::eq_int_type(unit, traits_type::eof()) ? traits_type::not_eof(unit)
                                                              : sputc(traits_type::to_char_type(unit));
}

}  // namespace bench
