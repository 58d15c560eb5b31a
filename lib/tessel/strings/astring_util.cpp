#include "tessel/strings/astring_util.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/strings/astring_observer.h"

#include <string_view>

namespace {

std::size_t AppendPieces(std::wstring_view text, std::wstring_view delimiters, std::vector<AString>& pieces,
                         bool keepDelimiters) {
    if (text.empty()) return 0;
    const std::size_t before = pieces.size();
    const auto append = [&](std::wstring_view piece) { pieces.emplace_back(piece.data(), piece.size()); };
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find_first_of(delimiters, start);
        append(text.substr(start, end - start));
        if (end == std::wstring_view::npos) return pieces.size() - before;
        if (keepDelimiters) append(text.substr(end, 1));
        start = end + 1;  // at the end of the text, one empty piece follows
    }
}

}  // namespace

std::size_t Tokenize(const wchar_t* text, const wchar_t* delimiters, std::vector<AString>& pieces,
                     bool keepDelimiters) {
    TESSEL_ASSERT_TEXT(text != nullptr, "string != 0");
    if (text == nullptr) return 0;
    astring_detail::Notify({CStringCall::kTokenize, text, delimiters, 0, 0, &pieces, keepDelimiters});
    return AppendPieces(text, delimiters, pieces, keepDelimiters);
}

std::size_t Tokenize(const AString& text, const AString& delimiters, std::vector<AString>& pieces,
                     bool keepDelimiters) {
    astring_detail::Notify(
        {CStringCall::kTokenize, text.Str(), delimiters.Str(), 0, 0, &pieces, keepDelimiters});
    return AppendPieces(text.Str(), delimiters.Str(), pieces, keepDelimiters);
}
