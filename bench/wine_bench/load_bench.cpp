// How large the shell extension is, and how long it takes to load. This program uses none of the system's
// libraries that the DLL brings along, so that the first time includes them.

#include "bench/wine_bench/stopwatch.h"

#include <cstdio>
#include <string>

namespace {

std::wstring BesideThisProgram(const wchar_t* name) {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const std::wstring path = program;
    return path.substr(0, path.rfind(L'\\') + 1) + name;
}

/// Loads and frees it; ends the program when it does not load.
double Load(const std::wstring& dll) {
    return Microseconds([&] {
        HMODULE module = LoadLibraryW(dll.c_str());
        if (module == nullptr) std::exit(1);
        FreeLibrary(module);
    });
}

unsigned SizeOf(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA attributes = {};
    GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes);
    return attributes.nFileSizeLow;
}

}  // namespace

int main() {
    constexpr int      kRounds = 100;
    const std::wstring dll     = BesideThisProgram(L"TarvexShellExt.dll"),
                       empty   = BesideThisProgram(L"empty.dll");
    const double first         = Load(dll);

    // From here on the system's libraries stay, as they do in a file manager.
    HMODULE             kept[] = {LoadLibraryW(L"gdiplus.dll"), LoadLibraryW(L"oleaut32.dll"),
                                  LoadLibraryW(L"shell32.dll"), LoadLibraryW(L"shlwapi.dll")};
    std::vector<double> ours, floors;
    for (int round = 0; round < kRounds; ++round) {
        ours.push_back(Load(dll));
        floors.push_back(Load(empty));
    }
    for (HMODULE module : kept)
        FreeLibrary(module);

    std::printf("size of the DLL            %8u KiB\n", SizeOf(dll) / 1024);
    std::printf("its first load             %8.0f us, with the system libraries that it needs\n", first);
    std::printf("load and free              %8.0f us, %.2f times an empty DLL (%.0f us)\n",
                QuickestTenth(ours), QuickestTenth(ours) / QuickestTenth(floors), QuickestTenth(floors));
}
