#pragma once

#include <cstddef>
#include <streambuf>

namespace io {

/// The get area of a stream buffer, which the standard library shows to derived classes only.
class CGetArea : std::wstreambuf {
  public:
    CGetArea() = delete;

    static const wchar_t* Start(const std::wstreambuf& buffer) { return (buffer.*&CGetArea::eback)(); }
    static const wchar_t* Next(const std::wstreambuf& buffer) { return (buffer.*&CGetArea::gptr)(); }
    static const wchar_t* End(const std::wstreambuf& buffer) { return (buffer.*&CGetArea::egptr)(); }
    static void           Move(std::wstreambuf& buffer, std::ptrdiff_t units) {
                  (buffer.*&CGetArea::gbump)(static_cast<int>(units));
    }
};

}  // namespace io
