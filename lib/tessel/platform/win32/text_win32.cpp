// Text conversions, character classes and sizes on Windows.

#include "tessel/platform/platform.h"

#include <windows.h>

#include <shlwapi.h>

#include <cstring>
#include <cwctype>

namespace platform {
namespace {

// The seam's numbers are the system's own, so nothing needs to be translated.
static_assert(kCodePageAnsi == CP_ACP && kCodePageOem == CP_OEMCP && kCodePageUtf8 == CP_UTF8);
static_assert(kErrorInsufficientBuffer == ERROR_INSUFFICIENT_BUFFER);
static_assert(kErrorInvalidParameter == ERROR_INVALID_PARAMETER);

int Answer(int count, unsigned* error) noexcept {
    *error = count == 0 ? GetLastError() : 0;
    return count;
}

}  // namespace

int MultiByteToWide(unsigned codePage, const char* text, int length, wchar_t* out, int capacity,
                    unsigned* error) noexcept {
    return Answer(MultiByteToWideChar(codePage, 0, text, length, out, capacity), error);
}

int WideToMultiByte(unsigned codePage, const wchar_t* text, int length, char* out, int capacity,
                    unsigned* error) noexcept {
    return Answer(WideCharToMultiByte(codePage, 0, text, length, out, capacity, nullptr, nullptr), error);
}

bool IsAlpha(wchar_t ch) noexcept {
    return std::iswalpha(ch) != 0;
}
bool IsAlnum(wchar_t ch) noexcept {
    return std::iswalnum(ch) != 0;
}
bool IsDigit(wchar_t ch) noexcept {
    return std::iswdigit(ch) != 0;
}
bool IsSpace(wchar_t ch) noexcept {
    return std::iswspace(ch) != 0;
}
bool IsControl(wchar_t ch) noexcept {
    return std::iswcntrl(ch) != 0;
}

// What the run time's `towlower` does in the "C" locale; it would follow a host's `setlocale`.
wchar_t ToLower(wchar_t ch) noexcept {
    return ch >= L'A' && ch <= L'Z' ? static_cast<wchar_t>(ch + 32) : ch;
}
wchar_t ToUpper(wchar_t ch) noexcept {
    return ch >= L'a' && ch <= L'z' ? static_cast<wchar_t>(ch - 32) : ch;
}

bool FormatByteSize(std::uint64_t bytes, char* out, unsigned capacity) noexcept {
    char text[64];
    if (StrFormatByteSize64A(static_cast<LONGLONG>(bytes), text, sizeof text) == nullptr) return false;
    const std::size_t size = std::strlen(text) + 1;
    if (size > capacity) return false;
    std::memcpy(out, text, size);
    return true;
}

}  // namespace platform
