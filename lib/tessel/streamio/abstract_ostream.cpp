#include "tessel/streamio/abstract_ostream.h"

#include "tessel/baseutils/assertion.h"

#include <fstream>

namespace io {

bool CAbstract_ostream::SeekChars(const CAbstract_stream_pos& pos) {
    ACharStreamOff new_pos = -1;
    if (CharBuffer() != nullptr)
        new_pos = static_cast<ACharStreamOff>(
            CharBuffer()->pubseekpos(static_cast<std::streamoff>(pos.Offset()), std::ios_base::out));
    TESSEL_ASSERT_TEXT(new_pos == pos.Offset(), "(ACharStreamOff)new_pos == (ACharStreamOff)pos.mPos");
    return new_pos == pos.Offset();
}

bool CAbstract_ostream::IsBehindUnendedLine(ACharStreamOff offset) {
    using Traits            = std::wstreambuf::traits_type;
    std::wstreambuf& buffer = *CharBuffer();
    const auto       before =
        buffer.pubseekoff(static_cast<std::streamoff>(offset - 1), std::ios_base::beg, std::ios_base::in);
    if (before < 0) return false;
    const auto unit = buffer.sgetc();
    if (!SeekChars(CAbstract_stream_pos(offset))) mGood = false;
    return !Traits::eq_int_type(unit, Traits::eof()) && unit != Traits::to_int_type(L'\n');
}

bool CAbstract_ostream::CloseChars() {
    if (!mStream) return false;
    mStream->flush();
    if (auto* file = dynamic_cast<std::wofstream*>(mStream.get())) file->close();
    if (auto* file = dynamic_cast<std::wfstream*>(mStream.get())) file->close();
    return mStream->good();
}

}  // namespace io
