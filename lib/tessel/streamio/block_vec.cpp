#include "tessel/streamio/block_vec.h"

#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_value.h"

#include <algorithm>
#include <iterator>

namespace io {

void CBlock_vec::Read(CToken_istream& stream) {
    mElements.clear();
    stream.ReadDelimiter(L'[');
    if (stream.fail()) throw stream.Error(kStreamioOpenBracketExpected);
    if (stream.AtNumber()) ReadCount(stream);
    for (;;) {
        if (stream.AtDelimiter(L']')) {
            stream.NextToken();
            return;
        }
        if (stream.AtEndOfFile()) return;
        stream.CountItem();
        if (!stream.CurrentToken().CanBeValue()) throw stream.Error(kStreamioInvalidValue);
        mElements.emplace_back();
        stream.ReadToken(mElements.back());
        ReadSeparator(stream);
    }
}

void CBlock_vec::ReadCount(CToken_istream& stream) {
    // Tested before it is known whether this is the count or the first element, so a vector cannot
    // begin with a negative number unless its count is written.
    std::uint32_t count = 0;
    if (!GetTokenValue(stream.CurrentToken(), count)) throw stream.Error(kStreamioInvalidVectorSize);
    CToken number;
    stream.ReadToken(number);
    if (stream.AtDelimiter(L':')) {
        stream.NextToken();
        return;
    }
    mElements.push_back(number);
    ReadSeparator(stream);
}

void CBlock_vec::ReadSeparator(CToken_istream& stream) {
    if (stream.AtDelimiter(L',')) {
        stream.NextToken();
    } else if (!stream.IsCommaOptional() && !stream.AtDelimiter(L']')) {
        throw stream.Error(kStreamioCloseOrCommaExpected);
    }
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
