#include "tessel/streamio/index_finder.h"

#include "tessel/streamio/block_index.h"

#include <algorithm>
#include <ios>
#include <vector>

namespace io {

namespace {

constexpr ACharStreamOff kChunk = 4096;  // units searched at a time

ACharStreamOff Seek(std::wstreambuf& buffer, ACharStreamOff offset, std::ios_base::seekdir from) {
    return static_cast<ACharStreamOff>(
        buffer.pubseekoff(static_cast<std::streamoff>(offset), from, std::ios_base::in));
}

ACharStreamOff SizeOf(std::wstreambuf& buffer) {
    const ACharStreamOff end = Seek(buffer, 0, std::ios_base::end);
    // The fast file buffer counts one place more than there is.
    return end >= 0 ? end : Seek(buffer, -1, std::ios_base::end);
}

/// Begin keyword and index name, in text with and without quotes, and in the binary form.
std::vector<std::wstring> Markers(const std::wstring& keyword) {
    std::vector<std::wstring> markers;
    for (const std::wstring name : {CBlock_index::kName, CBlock_index::kBaseName}) {
        markers.push_back(keyword + L" '" + name + L"'");
        markers.push_back(keyword + L" " + name);
        const auto text = [](wchar_t type, const std::wstring& s) {
            return std::wstring{type, static_cast<wchar_t>(s.size())} + s;
        };
        markers.push_back(text(static_cast<wchar_t>(ETokenType::Keyword), keyword) +
                          text(static_cast<wchar_t>(ETokenType::SingleQuotedText), name));
    }
    return markers;
}

}  // namespace

ACharStreamOff FindIndexBlock(std::wstreambuf& buffer, const AString& beginKeyword) {
    const std::vector<std::wstring> markers = Markers(beginKeyword.Str());
    std::size_t                     longest = 0;
    for (const std::wstring& marker : markers)
        longest = std::max(longest, marker.size());

    std::wstring carried;  // the start of the chunk behind, where a marker may end
    for (ACharStreamOff end = SizeOf(buffer); end > 0;) {
        const ACharStreamOff start = std::max<ACharStreamOff>(0, end - kChunk);
        std::wstring         chunk(static_cast<std::size_t>(end - start), L'\0');
        if (Seek(buffer, start, std::ios_base::beg) != start) return -1;
        const auto read = buffer.sgetn(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        if (read != static_cast<std::streamsize>(chunk.size())) return -1;
        chunk += carried;
        std::size_t found = std::wstring::npos;
        for (const std::wstring& marker : markers) {
            const std::size_t at = chunk.rfind(marker);
            if (at != chunk.npos && (found == chunk.npos || at > found)) found = at;
        }
        if (found != std::wstring::npos) return start + static_cast<ACharStreamOff>(found);
        carried = chunk.substr(0, longest - 1);
        end     = start;
    }
    return -1;
}

}  // namespace io
