#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

// The machine that is installed on: its registry, its folders, its programs.

/// On a 64-bit system.
bool Is64();

/// A place in the registry, in one of its views.
struct CPlace {
    HKEY         mRoot;
    int          mView;  ///< 64 or 32
    std::wstring mKey;
    std::wstring mName = L"";

    REGSAM ViewFlag() const { return mView == 64 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY; }
};
std::wstring Text(const CPlace& place);  ///< "(none)" if there is no text
void         SetText(const CPlace& place, const wchar_t* text, DWORD type = REG_SZ);
void         RemoveKey(const CPlace& place);

/// Every key ("key\") and value ("key\|name") below a key, values with type and bytes.
using CSnapshot = std::map<std::wstring, std::string>;
CSnapshot Snapshot(HKEY root, const wchar_t* key = L"Software");
/// What differs, one line for each, at most 20: nothing if they are equal.
std::string Differences(const CSnapshot& before, const CSnapshot& after);

/// Runs a command line and gives its exit status.
DWORD RunProgram(std::wstring command);

std::wstring Variable(const wchar_t* name);
bool         Exists(const std::wstring& path);
/// The names of all files below a folder, without the folder; sorted.
std::vector<std::wstring> FilesBelow(const std::wstring& folder);
std::string               Content(const std::wstring& path);
void                      WriteContent(const std::wstring& path, const std::string& content);
