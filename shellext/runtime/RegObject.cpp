#include "shellext/runtime/RegObject.h"

#include "shellext/runtime/ModuleFile.h"

#include <ranges>

namespace {

bool gPerUser = false;

/// An open registry key.
class CKey {
  public:
    CKey() = default;
    ~CKey() {
        if (mKey != nullptr) RegCloseKey(mKey);
    }
    CKey(const CKey&)            = delete;
    CKey& operator=(const CKey&) = delete;

    LSTATUS Open(HKEY parent, const std::wstring& name) {
        return RegOpenKeyExW(parent, name.c_str(), 0, KEY_READ | KEY_WRITE, &mKey);
    }
    LSTATUS Create(HKEY parent, const std::wstring& name) {
        return RegCreateKeyExW(parent, name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                               KEY_READ | KEY_WRITE, nullptr, &mKey, nullptr);
    }
    /// A key that the system keeps open; closing it does nothing.
    LSTATUS Use(HKEY predefined) {
        mKey = predefined;
        return ERROR_SUCCESS;
    }
    HKEY Get() const { return mKey; }

    LSTATUS SetText(const wchar_t* name, const std::wstring& text) const {
        return RegSetValueExW(mKey, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                              static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    bool HasKeys() const {
        DWORD keys = 0;
        return RegQueryInfoKeyW(mKey, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
               keys != 0;
    }

  private:
    HKEY mKey = nullptr;
};

LSTATUS MissingIsFine(LSTATUS status) {
    return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

LSTATUS FirstError(LSTATUS earlier, LSTATUS later) {
    return earlier != ERROR_SUCCESS ? earlier : later;
}

LSTATUS Write(HKEY parent, const CRegKey& entry);

LSTATUS WriteContent(const CKey& key, const CRegKey& entry) {
    LSTATUS status = entry.mDefault ? key.SetText(nullptr, *entry.mDefault) : ERROR_SUCCESS;
    for (const CRegValue& value : entry.mValues)
        if (status == ERROR_SUCCESS) status = key.SetText(value.mName.c_str(), value.mData);
    for (const CRegKey& child : entry.mKeys)
        if (status == ERROR_SUCCESS) status = Write(key.Get(), child);
    return status;
}

LSTATUS Write(HKEY parent, const CRegKey& entry) {
    LSTATUS status = ERROR_SUCCESS;
    if (entry.mForceRemove) status = MissingIsFine(RegDeleteTreeW(parent, entry.mName.c_str()));
    CKey key;
    if (status == ERROR_SUCCESS) status = key.Create(parent, entry.mName);
    return status == ERROR_SUCCESS ? WriteContent(key, entry) : status;
}

LSTATUS Remove(HKEY parent, const CRegKey& entry);

/// Goes on past failures, so that as little as possible stays; the first one is the result.
LSTATUS RemoveContent(const CKey& key, const CRegKey& entry) {
    LSTATUS status = ERROR_SUCCESS;
    for (const CRegKey& child : entry.mKeys | std::views::reverse)
        status = FirstError(status, Remove(key.Get(), child));
    for (const CRegValue& value : entry.mValues | std::views::reverse)
        status = FirstError(status, MissingIsFine(RegDeleteValueW(key.Get(), value.mName.c_str())));
    if (entry.mDefault) status = FirstError(status, MissingIsFine(RegDeleteValueW(key.Get(), nullptr)));
    return status;
}

LSTATUS Remove(HKEY parent, const CRegKey& entry) {
    if (entry.mForceRemove) return MissingIsFine(RegDeleteTreeW(parent, entry.mName.c_str()));
    bool    stays  = entry.mNoRemove;
    LSTATUS status = ERROR_SUCCESS;
    {
        CKey key;
        status = key.Open(parent, entry.mName);
        if (status != ERROR_SUCCESS) return MissingIsFine(status);
        status = RemoveContent(key, entry);
        stays  = stays || key.HasKeys();
    }
    return stays ? status : FirstError(status, MissingIsFine(RegDeleteKeyW(parent, entry.mName.c_str())));
}

/// The key that a script's root stands for.
LSTATUS OpenRoot(const CRegKey& root, CKey* key) {
    if (root.mName != L"HKCR") return ERROR_INVALID_DATA;
    return gPerUser ? key->Create(HKEY_CURRENT_USER, L"Software\\Classes") : key->Use(HKEY_CLASSES_ROOT);
}

using ContentOperation = LSTATUS (*)(const CKey& key, const CRegKey& entry);

HRESULT RunScript(std::wstring_view script, const CReplacements& replacements, ContentOperation operation) {
    try {
        LSTATUS status = ERROR_SUCCESS;
        for (const CRegKey& root : ParseRegScript(script, replacements)) {
            CKey key;
            if (status == ERROR_SUCCESS) status = OpenRoot(root, &key);
            if (status == ERROR_SUCCESS) status = operation(key, root);
        }
        return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
    } catch (const XRegScriptError&) {
        return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
    }
}

}  // namespace

void AtlSetPerUserRegistration(bool perUser) noexcept {
    gPerUser = perUser;
}

bool AtlGetPerUserRegistration() noexcept {
    return gPerUser;
}

std::wstring GuidText(REFGUID guid) {
    wchar_t   text[40];
    const int length = StringFromGUID2(guid, text, static_cast<int>(std::size(text)));  // counts the zero
    return length > 0 ? std::wstring(text) : std::wstring();
}

CRegObject::CRegObject(CReplacements replacements) : mReplacements(std::move(replacements)) {
    mReplacements.emplace_back(L"MODULE", ModuleFilePath(ThisModule()));
}

HRESULT CRegObject::StringRegister(std::wstring_view script) const {
    return RunScript(script, mReplacements, WriteContent);
}

HRESULT CRegObject::StringUnregister(std::wstring_view script) const {
    return RunScript(script, mReplacements, RemoveContent);
}

HRESULT CRegObject::UpdateFromResource(UINT id, bool registering) const {
    const HRSRC resource = FindResourceW(ThisModule(), MAKEINTRESOURCEW(id), L"REGISTRY");
    if (resource == nullptr) return HRESULT_FROM_WIN32(GetLastError());
    const HGLOBAL loaded = LoadResource(ThisModule(), resource);
    const auto*   bytes  = static_cast<const char*>(LockResource(loaded));
    if (bytes == nullptr) return HRESULT_FROM_WIN32(GetLastError());
    const std::wstring script(bytes, bytes + SizeofResource(ThisModule(), resource));
    return registering ? StringRegister(script) : StringUnregister(script);
}
