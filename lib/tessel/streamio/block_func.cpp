#include "tessel/streamio/block_func.h"

#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"

namespace io {

void CBlock_func::Read(CToken_istream& stream) {
    const CToken_istream::CNesting nesting(stream);
    mArguments.clear();
    stream.ReadDelimiter(L'(');
    if (stream.fail()) throw stream.Error(kStreamioOpenBracketExpected);
    for (;;) {
        if (stream.IsAt(L')')) {
            stream.NextToken();
            return;
        }
        if (stream.AtEndOfFile()) return;
        stream.CountItem();
        TakeArgument(stream);
        if (stream.IsAt(L',')) {
            stream.NextToken();
        } else if (!stream.IsCommaOptional() && !stream.IsAt(L')')) {
            throw stream.Error(kStreamioCloseOrCommaExpected);
        }
    }
}

void CBlock_func::TakeArgument(CToken_istream& stream) {
    CBlockFuncArgPtr argument;
    argument.Read(stream);
    Append(std::move(argument));
}

namespace {

/// An argument of which nothing is written: its comma alone shows that it is there.
bool IsNothing(const CBlock_func_arg& argument) {
    return argument.IsValue() && argument.IsEmpty();
}

}  // namespace

void CBlock_func::Write(CToken_ostream& stream) const {
    stream.WriteName(mName);
    stream.WriteDelimiter(L'(');
    bool first       = true;
    bool lastNothing = false;
    for (const CBlockFuncArgPtr& argument : mArguments) {
        if (!argument) continue;
        const bool nothing = IsNothing(*argument);
        if (!first) stream.WriteSeparator();
        // Where commas are optional a reader takes one all the same, so an empty argument needs its own.
        if (!first && stream.IsCommaOptional() && (nothing || lastNothing)) stream.WriteDelimiter(L',');
        if (!nothing) argument->Write(stream);
        first       = false;
        lastNothing = nothing;
    }
    // Without a comma behind it an empty last argument would be none.
    if (lastNothing) stream.WriteDelimiter(L',');
    stream.WriteDelimiter(L')');
}

std::size_t CBlock_func::EstimateLength(const CToken_ostream& stream) const {
    constexpr std::size_t kAround = 8;  // parentheses, a last comma
    std::size_t           length  = stream.EstimatedIndentation() + EstimateToken(mName) + kAround;
    for (const CBlockFuncArgPtr& argument : mArguments)
        length += argument.EstimateLength(stream) + 3;
    return length;
}

void CBlock_func::MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const {
    if (includeSelf) {
        ++statistics.mObjects;
        statistics.mObjectBytes += sizeof(CBlock_func);
    }
    statistics.mTextBytes += TextBytes(mName);
    statistics.mContainerBytes += mArguments.capacity() * sizeof(CBlockFuncArgPtr);
    for (const CBlockFuncArgPtr& argument : mArguments)
        if (argument) argument->MemoryUsage(statistics, true);
}

const CToken* CBlock_func::SoleValue() const {
    return mArguments.size() == 1 && mArguments[0] ? mArguments[0]->SoleValue() : nullptr;
}

}  // namespace io
