#include "tessel/streamio/streamio_object.h"

#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"

namespace io {

AString CStreamio_object::ToString(std::uint32_t options, const CNumberFormat& format) const {
    CToken_ostring stream;
    stream.SetOptions(options);
    stream.TokenBuffer().SetNumberFormat(format);
    Write(stream);
    return stream.String();
}

AString CStreamio_object::ToString() const {
    return ToString(0, CNumberFormat());
}

AString CStreamio_object::ToStringSized() const {
    CToken_ostring stream;
    stream.Reserve(EstimateLength(stream) + 2);
    Write(stream);
    return stream.String();
}

bool CStreamio_object::FromString(const AString& text) {
    CToken_istring stream(text);
    Read(stream);
    return !stream.fail();
}

std::size_t CStreamio_object::EstimateLength(const CToken_ostream&) const {
    return 0;
}

}  // namespace io
