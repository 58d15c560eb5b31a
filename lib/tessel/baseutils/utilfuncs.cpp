#include "tessel/baseutils/utilfuncs.h"

#include <algorithm>

namespace {

char Lower(char ch) {
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch + 32) : ch;
}

}  // namespace

bool EqualsNoCase(std::string_view a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string_view FileNameOf(std::string_view path) noexcept {
    return path.substr(path.find_last_of("/\\") + 1);  // npos + 1 is 0
}

std::string_view FileStemOf(std::string_view path) noexcept {
    const std::string_view name = FileNameOf(path);
    const std::size_t      dot  = name.rfind('.');
    return dot == 0 ? name : name.substr(0, dot);
}
