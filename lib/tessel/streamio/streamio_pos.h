#pragma once

#include "tessel/streamio/streamio_state.h"

#include <cstdint>

namespace io {

using ACharStreamOff = std::int64_t;

/// A place in a stream: the offset of a character (in a file: of a byte), and what the token
/// buffer was about to do there. A position made from an offset alone carries no state; going there
/// starts afresh, at line 1.
class CAbstract_stream_pos {
  public:
    CAbstract_stream_pos() noexcept = default;
    /// Offsets must stay below the largest 32-bit integer; an assertion says so otherwise.
    explicit CAbstract_stream_pos(ACharStreamOff offset, const CStreamStatePtr& state = CStreamStatePtr());

    ACharStreamOff         Offset() const noexcept { return mPos; }
    const CStreamStatePtr& State() const noexcept { return mState; }

  private:
    ACharStreamOff  mPos = 0;
    CStreamStatePtr mState;
};

}  // namespace io
