#include "packaging/windows/machine.h"

#include <aclapi.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

/// An open key; null if it is not there.
class CKey {
  public:
    CKey(HKEY root, const std::wstring& key, REGSAM access) {
        if (RegOpenKeyExW(root, key.c_str(), 0, access, &mKey) != ERROR_SUCCESS) mKey = nullptr;
    }
    ~CKey() {
        if (mKey != nullptr) RegCloseKey(mKey);
    }
    CKey(const CKey&)            = delete;
    CKey& operator=(const CKey&) = delete;

    HKEY Get() const { return mKey; }

  private:
    HKEY mKey = nullptr;
};

void Collect(HKEY parent, const std::wstring& name, const std::wstring& path, CSnapshot* snapshot) {
    const CKey key(parent, name, KEY_READ | KEY_WOW64_64KEY);
    if (key.Get() == nullptr) return;
    (*snapshot)[path + L"\\"];
    static wchar_t text[16384];
    static char    data[1 << 16];
    for (DWORD index = 0;; ++index) {
        DWORD         length = static_cast<DWORD>(std::size(text));
        DWORD         bytes  = sizeof data;
        DWORD         type   = 0;
        const LSTATUS status = RegEnumValueW(key.Get(), index, text, &length, nullptr, &type,
                                             reinterpret_cast<BYTE*>(data), &bytes);
        if (status != ERROR_SUCCESS) break;
        (*snapshot)[path + L"\\|" + text] = std::to_string(type) + ":" + std::string(data, bytes);
    }
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(std::size(text));
        if (RegEnumKeyExW(key.Get(), index, text, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        const std::wstring child = text;
        // The other view contains itself: once is enough.
        if (child == L"Wow6432Node" && path.find(child) != path.npos) continue;
        Collect(key.Get(), child, path + L"\\" + child, snapshot);
    }
}

std::string Narrow(const std::wstring& text) {
    std::string narrow;
    for (const wchar_t c : text)
        narrow += c < 0x80 ? static_cast<char>(c) : '?';
    return narrow;
}

void CollectFiles(const std::wstring& folder, const std::wstring& below, std::vector<std::wstring>* files) {
    WIN32_FIND_DATAW data;
    const HANDLE     find = FindFirstFileW((folder + L"\\" + below + L"*").c_str(), &data);
    if (find == INVALID_HANDLE_VALUE) return;
    do {
        const std::wstring name = data.cFileName;
        if (name == L"." || name == L"..") continue;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            CollectFiles(folder, below + name + L"\\", files);
        } else {
            files->push_back(below + name);
        }
    } while (FindNextFileW(find, &data));
    FindClose(find);
}

}  // namespace

bool Is64() {
    BOOL emulated = FALSE;
    return sizeof(void*) == 8 || (IsWow64Process(GetCurrentProcess(), &emulated) && emulated);
}

std::wstring Text(const CPlace& place) {
    const CKey key(place.mRoot, place.mKey, KEY_READ | place.ViewFlag());
    wchar_t    data[1024] = {};
    DWORD      bytes      = sizeof data - sizeof(wchar_t);
    return RegQueryValueExW(key.Get(), place.mName.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(data),
                            &bytes) == ERROR_SUCCESS
               ? data
               : L"(none)";
}

void SetText(const CPlace& place, const wchar_t* text, DWORD type) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(place.mRoot, place.mKey.c_str(), 0, nullptr, 0, KEY_WRITE | place.ViewFlag(),
                              nullptr, &key, nullptr),
              ERROR_SUCCESS);
    RegSetValueExW(key, place.mName.c_str(), 0, type, reinterpret_cast<const BYTE*>(text),
                   static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

void RemoveKey(const CPlace& place) {
    {
        const CKey key(place.mRoot, place.mKey, KEY_READ | KEY_WRITE | DELETE | place.ViewFlag());
        if (key.Get() == nullptr) return;
        RegDeleteTreeW(key.Get(), nullptr);
    }
    RegDeleteKeyExW(place.mRoot, place.mKey.c_str(), place.ViewFlag(), 0);
}

CSnapshot Snapshot(HKEY root, const wchar_t* key) {
    CSnapshot snapshot;
    Collect(root, key, key, &snapshot);
    return snapshot;
}

std::string Differences(const CSnapshot& before, const CSnapshot& after) {
    std::string text;
    int         count = 0;
    const auto  add   = [&](const char* what, const std::wstring& place) {
        if (++count <= 20) text += what + Narrow(place) + "\n";
    };
    for (const auto& [place, data] : after) {
        const auto found = before.find(place);
        if (found == before.end()) add("new: ", place);
        if (found != before.end() && found->second != data) add("changed: ", place);
    }
    for (const auto& [place, data] : before)
        if (!after.contains(place)) add("gone: ", place);
    return text;
}

DWORD RunProgram(std::wstring command) {
    STARTUPINFOW        startup = {};
    PROCESS_INFORMATION process = {};
    startup.cb                  = sizeof startup;
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process))
        return 0x10000 + GetLastError();
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

std::wstring Variable(const wchar_t* name) {
    wchar_t text[1024] = {};
    GetEnvironmentVariableW(name, text, static_cast<DWORD>(std::size(text)));
    return text;
}

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::vector<std::wstring> FilesBelow(const std::wstring& folder) {
    std::vector<std::wstring> files;
    CollectFiles(folder, L"", &files);
    std::sort(files.begin(), files.end());
    return files;
}

std::string Content(const std::wstring& path) {
    std::string  content;
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return content;
    content.resize(GetFileSize(file, nullptr));
    DWORD read = 0;
    ReadFile(file, content.data(), static_cast<DWORD>(content.size()), &read, nullptr);
    CloseHandle(file);
    return content;
}

void WriteContent(const std::wstring& path, const std::string& content) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD written = 0;
    WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    CloseHandle(file);
}
