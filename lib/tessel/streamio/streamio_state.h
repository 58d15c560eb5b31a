#pragma once

#include "tessel/baseutils/refptr.h"

#include <cstdint>

namespace io {

/// What a stream must remember, besides an offset, to go back to a place. Token buffers derive
/// theirs from it. Shared by the positions that carry it.
class CAbstract_stream_state {
  public:
    CAbstract_stream_state() noexcept                                = default;
    CAbstract_stream_state(const CAbstract_stream_state&)            = delete;
    CAbstract_stream_state& operator=(const CAbstract_stream_state&) = delete;
    virtual ~CAbstract_stream_state();

    void AddRef() noexcept { ++mRefCount; }
    void Release() noexcept {
        if (--mRefCount == 0) delete this;
    }

  private:
    std::int32_t mRefCount = 0;
};

using CStreamStatePtr = RefPtr<CAbstract_stream_state>;

}  // namespace io
