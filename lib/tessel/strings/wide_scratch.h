#pragma once

#include "tessel/strings/astring_buf.h"

#include <cstddef>

/// Lends the calling thread its wide scratch buffer, which is kept from call to call, so that
/// ordinary conversions and formats allocate nothing but their result. One loan at a time.
class CWideScratch {
  public:
    /// A buffer beyond so many elements is dropped when it is given back.
    static constexpr unsigned kLargestKept = 0x80000;

    CWideScratch() noexcept;
    ~CWideScratch();
    CWideScratch(const CWideScratch&)            = delete;
    CWideScratch& operator=(const CWideScratch&) = delete;

    ABuffer<wchar_t>& operator*() noexcept { return *mBuffer; }
    ABuffer<wchar_t>* operator->() noexcept { return mBuffer; }

    /// Elements that the calling thread's buffer holds between two loans.
    static std::size_t KeptCapacity() noexcept;

  private:
    ABuffer<wchar_t>  mOwn;  ///< where the system has no room for one per thread
    ABuffer<wchar_t>* mBuffer;
};
