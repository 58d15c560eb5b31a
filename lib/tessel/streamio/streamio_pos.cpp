#include "tessel/streamio/streamio_pos.h"

#include "tessel/baseutils/assertion.h"

#include <limits>
#include <utility>

namespace io {

CAbstract_stream_pos::CAbstract_stream_pos(ACharStreamOff offset, const CStreamStatePtr& state)
    : mPos(offset), mState(state) {
    // A long has 32 bits on the system that the format comes from.
    TESSEL_ASSERT_TEXT(
        mPos < std::numeric_limits<std::int32_t>::max(),
        "(ACharStreamOff)mPos < static_cast<ACharStreamOff>( (std::numeric_limits<long>::max)())");
}

}  // namespace io
