#include "tessel/streamio/block_value.h"

#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"

namespace io {

void CBlock_value::Read(CToken_istream& stream) {
    if (!stream.CurrentToken().CanBeValue()) throw stream.Error(kStreamioInvalidValue);
    stream.ReadToken(mValue);
}

void CBlock_value::Write(CToken_ostream& stream) const {
    stream.WriteValue(mValue);
}

bool CBlock_value::FromString(const AString& text) {
    try {
        return CBlock_func_arg::FromString(text);
    } catch (const XStreamioError&) {
        return false;
    }
}

std::size_t CBlock_value::EstimateLength(const CToken_ostream& stream) const {
    return stream.EstimatedIndentation() + EstimateToken(mValue);
}

void CBlock_value::MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const {
    if (includeSelf) {
        ++statistics.mObjects;
        statistics.mObjectBytes += sizeof(CBlock_value);
    }
    statistics.mTextBytes += TextBytes(mValue);
}

void CBlock_named_value::Read(CToken_istream& stream) {
    stream.ReadDelimiter(L'=');
    if (stream.fail()) throw stream.Error(kStreamioEqualsExpected);
    CBlock_value::Read(stream);
}

void CBlock_named_value::Write(CToken_ostream& stream) const {
    stream.WriteName(mName);
    stream.WriteDelimiter(L'=');
    CBlock_value::Write(stream);
}

std::size_t CBlock_named_value::EstimateLength(const CToken_ostream& stream) const {
    return EstimateToken(mName) + 2 + CBlock_value::EstimateLength(stream);
}

void CBlock_named_value::MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const {
    if (includeSelf) {
        ++statistics.mObjects;
        statistics.mObjectBytes += sizeof(CBlock_named_value);
    }
    statistics.mTextBytes += TextBytes(mName);
    CBlock_value::MemoryUsage(statistics, false);
}

}  // namespace io
