#include "tessel/streamio/abstract_ostream.h"

#include "tessel/baseutils/assertion.h"

namespace io {

bool CAbstract_ostream::SeekChars(const CAbstract_stream_pos& pos) {
    ACharStreamOff new_pos = -1;
    if (CharBuffer() != nullptr)
        new_pos = static_cast<ACharStreamOff>(
            CharBuffer()->pubseekpos(static_cast<std::streamoff>(pos.Offset()), std::ios_base::out));
    TESSEL_ASSERT_TEXT(new_pos == pos.Offset(), "(ACharStreamOff)new_pos == (ACharStreamOff)pos.mPos");
    return new_pos == pos.Offset();
}

}  // namespace io
