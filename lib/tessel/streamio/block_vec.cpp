#include "tessel/streamio/block_vec.h"

#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"
#include "tessel/streamio/token_value.h"

#include <algorithm>
#include <iterator>

namespace io {

void CBlock_vec::Read(CToken_istream& stream) {
    mElements.clear();
    stream.ReadDelimiter(L'[');
    if (stream.fail()) throw stream.Error(kStreamioOpenBracketExpected);
    if (stream.AtNumber()) ReadCount(stream);
    CToken element;
    for (;;) {
        if (stream.IsAt(L']')) {
            stream.NextToken();
            return;
        }
        if (stream.AtEndOfFile()) return;
        stream.CountItem();
        if (!stream.CurrentToken().CanBeValue()) throw stream.Error(kStreamioInvalidValue);
        stream.ReadToken(element);
        TakeElement(std::move(element));
        ReadSeparator(stream);
    }
}

void CBlock_vec::ReadCount(CToken_istream& stream) {
    // Tested before it is known whether this is the count or the first element, so a vector cannot
    // begin with a negative number unless its count is written.
    if (!IsCount(stream.CurrentToken())) throw stream.Error(kStreamioInvalidVectorSize);
    CToken number;
    stream.ReadToken(number);
    if (stream.IsAt(L':')) {
        stream.NextToken();
        mElements.reserve(Expected(number));
        return;
    }
    stream.CountItem();
    TakeElement(std::move(number));
    ReadSeparator(stream);
}

bool CBlock_vec::IsCount(const CToken& number) noexcept {
    std::uint32_t count = 0;
    return GetTokenValue(number, count);
}

std::size_t CBlock_vec::Expected(const CToken& count) noexcept {
    constexpr double kMost = 16;  // a count can say anything
    return static_cast<std::size_t>(std::clamp(count.Number(), 0.0, kMost));
}

void CBlock_vec::ReadSeparator(CToken_istream& stream) {
    if (stream.IsAt(L',')) {
        stream.NextToken();
    } else if (!stream.IsCommaOptional() && !stream.IsAt(L']')) {
        throw stream.Error(kStreamioCloseOrCommaExpected);
    }
}

void CBlock_vec::Write(CToken_ostream& stream) const {
    stream.WriteName(mName);
    stream.WriteDelimiter(L'[');
    stream.WriteUnsignedInt(static_cast<std::uint32_t>(mElements.size()));
    stream.WriteDelimiter(L':');
    for (std::size_t i = 0; i < mElements.size(); ++i) {
        if (i == 0) {
            stream.WriteBlank();
        } else {
            stream.WriteSeparator();
        }
        stream.WriteValue(mElements[i]);
    }
    stream.WriteDelimiter(L']');
}

std::size_t CBlock_vec::EstimateLength(const CToken_ostream& stream) const {
    constexpr std::size_t kAround = 24;  // brackets, count, colon
    std::size_t           length  = stream.EstimatedIndentation() + EstimateToken(mName) + kAround;
    for (const CToken& element : mElements)
        length += EstimateToken(element) + 3;
    return length;
}

void CBlock_vec::MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const {
    if (includeSelf) {
        ++statistics.mObjects;
        statistics.mObjectBytes += sizeof(CBlock_vec);
    }
    statistics.mTextBytes += TextBytes(mName);
    statistics.mContainerBytes += mElements.capacity() * sizeof(CToken);
    for (const CToken& element : mElements)
        statistics.mTextBytes += TextBytes(element);
}

std::vector<AString> CBlock_vec::Strings() const {
    std::vector<AString> strings;
    strings.reserve(mElements.size());
    std::transform(mElements.begin(), mElements.end(), std::back_inserter(strings),
                   [](const CToken& element) { return element.String(); });
    return strings;
}

std::vector<std::int32_t> CBlock_vec::Ints() const {
    std::vector<std::int32_t> ints(mElements.size(), 0);
    for (std::size_t i = 0; i < ints.size(); ++i)
        GetTokenValue(mElements[i], ints[i]);
    return ints;
}

}  // namespace io
