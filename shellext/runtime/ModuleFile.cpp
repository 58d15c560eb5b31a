#include "shellext/runtime/ModuleFile.h"

/// The linker puts this symbol at the start of the image; no entry point has to keep the handle.
// NOLINTNEXTLINE(bugprone-reserved-identifier): so the linker calls where the module begins.
extern "C" const IMAGE_DOS_HEADER __ImageBase;

HMODULE ThisModule() noexcept {
    return reinterpret_cast<HMODULE>(const_cast<IMAGE_DOS_HEADER*>(&__ImageBase));
}

std::wstring ModuleFilePath(HMODULE module) {
    constexpr std::size_t kLongestPath = 0x8000;  // UTF-16 units, the system's own limit
    std::wstring          path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) return path.substr(0, length);
        if (path.size() >= kLongestPath) return {};
        path.resize(path.size() * 2);
    }
}
