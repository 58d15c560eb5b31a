#include "tessel/streamio/block_func.h"

#include "tessel/streamio/token_istream.h"

namespace io {

void CBlock_func::Read(CToken_istream& stream) {
    const CToken_istream::CNesting nesting(stream);
    mArguments.clear();
    stream.ReadDelimiter(L'(');
    if (stream.fail()) throw stream.Error(kStreamioOpenBracketExpected);
    for (;;) {
        if (stream.AtDelimiter(L')')) {
            stream.NextToken();
            return;
        }
        if (stream.AtEndOfFile()) return;
        stream.CountItem();
        CBlockFuncArgPtr argument;
        argument.Read(stream);
        mArguments.push_back(std::move(argument));
        if (stream.AtDelimiter(L',')) {
            stream.NextToken();
        } else if (!stream.IsCommaOptional() && !stream.AtDelimiter(L')')) {
            throw stream.Error(kStreamioCloseOrCommaExpected);
        }
    }
}

const CToken* CBlock_func::SoleValue() const {
    return mArguments.size() == 1 && mArguments[0] ? mArguments[0]->SoleValue() : nullptr;
}

}  // namespace io
