#include "viewkit/tools/CharacterCount.h"

namespace {

constexpr std::size_t kMaxUtf8 = 4;  // bytes of a character; a longer run of continuations is none

template <class Text, class Joins>
std::size_t Prefix(Text text, std::size_t count, std::size_t maxUnits, Joins joins) {
    if (text.size() <= count) return text.size();
    std::size_t length = 0;
    for (; count != 0 && length < text.size(); --count) {
        const std::size_t start = length++;
        while (length < text.size() && length - start < maxUnits && joins(text[length - 1], text[length]))
            ++length;
    }
    return length;
}

}  // namespace

std::size_t NarrowPrefix(std::string_view text, std::size_t count) noexcept {
    return Prefix(text, count, kMaxUtf8,
                  [](char before, char ch) { return (before & 0x80) != 0 && (ch & 0xC0) == 0x80; });
}

std::size_t WidePrefix(std::wstring_view text, std::size_t count) noexcept {
    return Prefix(text, count, 2, [](wchar_t before, wchar_t ch) {
        return before >= 0xD800 && before <= 0xDBFF && ch >= 0xDC00 && ch <= 0xDFFF;
    });
}
