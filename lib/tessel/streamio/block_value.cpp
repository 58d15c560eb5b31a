#include "tessel/streamio/block_value.h"

#include "tessel/streamio/token_istream.h"

namespace io {

void CBlock_value::Read(CToken_istream& stream) {
    if (!stream.CurrentToken().CanBeValue()) throw stream.Error(kStreamioInvalidValue);
    stream.ReadToken(mValue);
}

void CBlock_named_value::Read(CToken_istream& stream) {
    stream.ReadDelimiter(L'=');
    if (stream.fail()) throw stream.Error(kStreamioEqualsExpected);
    CBlock_value::Read(stream);
}

}  // namespace io
