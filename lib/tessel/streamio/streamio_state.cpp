#include "tessel/streamio/streamio_state.h"

#include "tessel/baseutils/assertion.h"

namespace io {

CAbstract_stream_state::~CAbstract_stream_state() {
    TESSEL_ASSERT(mRefCount == 0);
}

}  // namespace io
