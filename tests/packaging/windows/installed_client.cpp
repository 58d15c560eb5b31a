// A client that knows nothing of ours: asks the system's shell for the tips and the pictures of files, and
// writes a line for each into a file: the tip's first line, and the picture's first pixel. usage:
// installed_client OUT FILE...

#include <shlobj.h>
#include <windows.h>

#include <string>

namespace {

/// The shell's object for a file, with a reference for the caller; null if it has none.
template <class Interface>
Interface* Ask(const wchar_t* path, REFIID iid) {
    PIDLIST_ABSOLUTE list   = nullptr;
    void*            folder = nullptr;
    void*            object = nullptr;
    PCUITEMID_CHILD  child  = nullptr;
    if (FAILED(SHParseDisplayName(path, nullptr, &list, 0, nullptr))) return nullptr;
    if (SUCCEEDED(SHBindToParent(list, IID_IShellFolder, &folder, &child))) {
        auto* const parent = static_cast<IShellFolder*>(folder);
        if (FAILED(parent->GetUIObjectOf(nullptr, 1, &child, iid, nullptr, &object))) object = nullptr;
        parent->Release();
    }
    CoTaskMemFree(list);
    return static_cast<Interface*>(object);
}

std::wstring TipOf(const wchar_t* path) {
    auto* const object = Ask<IQueryInfo>(path, IID_IQueryInfo);
    if (object == nullptr) return L"none";
    wchar_t*     text = nullptr;
    std::wstring tip  = L"failed";
    if (object->GetInfoTip(QITIPF_USESLOWTIP, &text) == S_OK) tip = text;
    CoTaskMemFree(text);
    object->Release();
    return tip.substr(0, tip.find(L'\n'));
}

std::wstring PictureOf(const wchar_t* path) {
    auto* const object = Ask<IExtractImage>(path, IID_IExtractImage);
    if (object == nullptr) return L"none";
    wchar_t      location[MAX_PATH] = {};
    DWORD        priority           = 0;
    DWORD        flags              = IEIFLAG_ASPECT;
    const SIZE   size               = {96, 96};
    HBITMAP      bitmap             = nullptr;
    std::wstring picture            = L"failed";
    object->GetLocation(location, MAX_PATH, &priority, &size, 32, &flags);
    if (object->Extract(&bitmap) == S_OK) {
        const HDC device = CreateCompatibleDC(nullptr);
        SelectObject(device, bitmap);
        const COLORREF colour = GetPixel(device, 0, 0);
        wchar_t        text[20];
        swprintf(text, std::size(text), L"#%02X%02X%02X", GetRValue(colour), GetGValue(colour),
                 GetBValue(colour));
        picture = text;
        DeleteDC(device);
        DeleteObject(bitmap);
    }
    object->Release();
    return picture;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    if (count < 3 || FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
    std::wstring report;
    for (int i = 2; i < count; ++i)
        report += TipOf(arguments[i]) + L" / " + PictureOf(arguments[i]) + L"\n";
    CoUninitialize();

    const HANDLE file    = CreateFileW(arguments[1], GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD        written = 0;
    const bool   done    = WriteFile(file, report.data(), static_cast<DWORD>(report.size() * sizeof(wchar_t)),
                                     &written, nullptr) != FALSE;
    CloseHandle(file);
    return done ? 0 : 1;
}
