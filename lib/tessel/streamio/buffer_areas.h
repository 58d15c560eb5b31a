#pragma once

#include <cstddef>
#include <streambuf>

namespace io {

/// The areas of a stream buffer, which the standard library shows to derived classes only: what lies ready
/// to be read, and the room to write.
class CBufferAreas : std::wstreambuf {
  public:
    CBufferAreas() = delete;

    static const wchar_t* Start(const std::wstreambuf& buffer) { return (buffer.*&CBufferAreas::eback)(); }
    static const wchar_t* Next(const std::wstreambuf& buffer) { return (buffer.*&CBufferAreas::gptr)(); }
    static const wchar_t* End(const std::wstreambuf& buffer) { return (buffer.*&CBufferAreas::egptr)(); }
    static void           Move(std::wstreambuf& buffer, std::ptrdiff_t units) {
                  (buffer.*&CBufferAreas::gbump)(static_cast<int>(units));
    }

    static wchar_t*    Put(std::wstreambuf& buffer) { return (buffer.*&CBufferAreas::pptr)(); }
    static std::size_t Room(std::wstreambuf& buffer) {
        return static_cast<std::size_t>((buffer.*&CBufferAreas::epptr)() - Put(buffer));
    }
    static void MovePut(std::wstreambuf& buffer, std::ptrdiff_t units) {
        (buffer.*&CBufferAreas::pbump)(static_cast<int>(units));
    }
};

}  // namespace io
