// What a file manager does with the shell extension, in the plainest form: create the object through
// COM, hand it a project file, ask for the info tip and the thumbnail.
//
// usage: shell_client OUTPUT_FOLDER PROJECT...
// Prints each tip and writes each thumbnail as a PNG file of the project's name.

#include <objbase.h>
#include <shlobj.h>
#include <windows.h>
// After the two above: it needs their types.
#include <fcntl.h>
#include <gdiplus.h>
#include <io.h>
#include <shellapi.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

// "TarvexShellExt 7.0 for ZEPH 15.0 Class", as registered.
constexpr CLSID kShellObject = {0x05DE8458, 0x5BB6, 0x444E, {0xB9, 0x69, 0x38, 0x83, 0x01, 0x22, 0xD2, 0xD5}};
constexpr CLSID kPngEncoder  = {0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};

std::string Utf8(const wchar_t* text) {
    const int   size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
    utf8.pop_back();
    return utf8;
}

bool WritePng(HBITMAP bitmap, const std::filesystem::path& path) {
    using namespace Gdiplus::DllExports;
    Gdiplus::GpBitmap* image = nullptr;
    if (GdipCreateBitmapFromHBITMAP(bitmap, nullptr, &image) != Gdiplus::Ok) return false;
    const auto status = GdipSaveImageToFile(image, path.c_str(), &kPngEncoder, nullptr);
    GdipDisposeImage(image);
    return status == Gdiplus::Ok;
}

void ShowTip(IPersistFile* file) {
    IQueryInfo* query = nullptr;
    if (FAILED(file->QueryInterface(IID_IQueryInfo, reinterpret_cast<void**>(&query)))) return;
    wchar_t* tip = nullptr;
    if (SUCCEEDED(query->GetInfoTip(QITIPF_USESLOWTIP, &tip))) {
        std::printf("%s\n", Utf8(tip).c_str());
        CoTaskMemFree(tip);
    }
    query->Release();
}

void SaveThumbnail(IPersistFile* file, const std::filesystem::path& path) {
    IExtractImage* extract = nullptr;
    if (FAILED(file->QueryInterface(IID_IExtractImage, reinterpret_cast<void**>(&extract)))) return;
    wchar_t    location[MAX_PATH] = L"";
    const SIZE size{256, 256};
    DWORD      priority = 0;
    DWORD      flags    = IEIFLAG_SCREEN | IEIFLAG_QUALITY;
    HBITMAP    bitmap   = nullptr;
    extract->GetLocation(location, MAX_PATH, &priority, &size, 32, &flags);
    if (SUCCEEDED(extract->Extract(&bitmap))) {
        const bool written = WritePng(bitmap, path);
        std::printf("(%s %s)\n", written ? "thumbnail:" : "cannot write",
                    Utf8(path.filename().c_str()).c_str());
        DeleteObject(bitmap);
    } else {
        std::printf("(no thumbnail)\n");
    }
    extract->Release();
}

bool Show(const std::filesystem::path& project, const std::filesystem::path& folder) {
    std::printf("%s\n", Utf8(project.filename().c_str()).c_str());
    IPersistFile* file   = nullptr;
    const HRESULT result = CoCreateInstance(kShellObject, nullptr, CLSCTX_INPROC_SERVER, IID_IPersistFile,
                                            reinterpret_cast<void**>(&file));
    if (FAILED(result)) {
        std::fprintf(stderr, "shell_client: the object cannot be created (%08lx); is the DLL registered?\n",
                     static_cast<unsigned long>(result));
        return false;
    }
    file->Load(project.c_str(), STGM_READ);
    ShowTip(file);
    SaveThumbnail(file, folder / project.filename().replace_extension(L".png"));
    file->Release();
    std::printf("\n");
    return true;
}

}  // namespace

int main() {
    int       count     = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count < 3) {
        std::fprintf(stderr, "usage: shell_client OUTPUT_FOLDER PROJECT...\n");
        return 2;
    }
    _setmode(_fileno(stdout), _O_BINARY);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ULONG_PTR                          graphics = 0;
    const Gdiplus::GdiplusStartupInput input;
    Gdiplus::GdiplusStartup(&graphics, &input, nullptr);

    bool shown = true;
    for (int i = 2; i < count && shown; ++i)
        shown = Show(arguments[i], arguments[1]);

    Gdiplus::GdiplusShutdown(graphics);
    CoUninitialize();
    return shown ? 0 : 1;
}
