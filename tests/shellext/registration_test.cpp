#include "shellext/com_support.h"
#include "shellext/read_only_key.h"

#include <gtest/gtest.h>

#include <map>

namespace {

const std::wstring kClassKey   = std::wstring(L"CLSID\\") + kClassIdText;
const std::wstring kAppIdKey   = std::wstring(L"AppID\\") + kAppIdText;
const std::wstring kTypeLibKey = std::wstring(L"TypeLib\\") + kTypeLibText;

/// "key" or "key|value name" below HKCR, with the value's text.
using CRegistryContent = std::map<std::wstring, std::wstring>;

/// Notes a key with its values, and what is below it: everything, or only the names of its keys.
void Collect(const std::wstring& name, bool deep, CRegistryContent* content) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, name.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
    (*content)[name];
    wchar_t text[16384];
    for (DWORD index = 0;; ++index) {
        wchar_t       data[2048] = {};
        DWORD         length     = static_cast<DWORD>(std::size(text));
        DWORD         bytes      = sizeof data - sizeof(wchar_t);
        const LSTATUS status =
            RegEnumValueW(key, index, text, &length, nullptr, nullptr, reinterpret_cast<BYTE*>(data), &bytes);
        if (status == ERROR_NO_MORE_ITEMS) break;
        (*content)[name + L"|" + text] = data;
    }
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(std::size(text));
        if (RegEnumKeyExW(key, index, text, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        const std::wstring child = name.empty() ? text : name + L"\\" + text;
        if (deep) {
            Collect(child, deep, content);
        } else {
            (*content)[child];
        }
    }
    RegCloseKey(key);
}

/// What registration may touch, whole; of everything beside it the names.
CRegistryContent Classes() {
    CRegistryContent content;
    for (const wchar_t* folder : {L"", L"CLSID", L"TypeLib", L"Interface"})
        Collect(folder, false, &content);
    for (const std::wstring& ours : {std::wstring(L"AppID"), kClassKey, kTypeLibKey})
        Collect(ours, true, &content);
    return content;
}

/// What `after` has and `before` has not, or has differently.
CRegistryContent Added(const CRegistryContent& before, const CRegistryContent& after) {
    CRegistryContent added;
    for (const auto& [name, text] : after) {
        const auto found = before.find(name);
        if (found == before.end() || found->second != text) added[name] = text;
    }
    return added;
}

void SetText(const std::wstring& key, const wchar_t* text) {
    RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, REG_SZ, text,
                    static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t)));
}

std::wstring TextOf(const std::wstring& key, const wchar_t* value = nullptr) {
    wchar_t       data[1024] = {};
    DWORD         bytes      = sizeof data;
    const LSTATUS status =
        RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), value, RRF_RT_REG_SZ, nullptr, data, &bytes);
    return status == ERROR_SUCCESS ? data : L"(none)";
}

/// What tests add beside the server's entries; unregistering keeps it.
void RemoveEntriesOfOthers() {
    for (const std::wstring& key : {std::wstring(L"CLSID\\{00000000-1111-2222-3333-444444444444}"),
                                    std::wstring(L"AppID\\Other.DLL"), std::wstring(L".tarvex"), kAppIdKey})
        RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
}

/// Starts without the server's entries and with some of others beside them.
class Registration : public testing::Test {
  protected:
    void SetUp() override {
        CoFreeUnusedLibrariesEx(0, 0);
        ASSERT_EQ(Unregister(), 0u);
        RemoveEntriesOfOthers();  // a run that was ended has left them
        SetText(L"CLSID\\{00000000-1111-2222-3333-444444444444}", L"somebody else's class");
        SetText(L"AppID\\Other.DLL", L"somebody else's module");
    }
    void TearDown() override {
        RemoveEntriesOfOthers();
        RegDeleteTreeW(HKEY_CLASSES_ROOT, kTypeLibKey.c_str());
        EXPECT_EQ(Register(), 0u);
    }
};

TEST_F(Registration, WritesItsEntriesAndNothingElse) {
    const CRegistryContent before = Classes();
    ASSERT_EQ(Register(), 0u);
    const std::wstring     machine  = sizeof(void*) == 8 ? L"win64" : L"win32";
    const CRegistryContent expected = {
        {kAppIdKey, L""},
        {kAppIdKey + L"|", L"TarvexShellExt"},
        {L"AppID\\TarvexShellExt.DLL", L""},
        {L"AppID\\TarvexShellExt.DLL|AppID", kAppIdText},
        {kClassKey, L""},
        {kClassKey + L"|", L"TarvexShellExt 7.0 for ZEPH 15.0 Class"},
        {kClassKey + L"\\Programmable", L""},
        {kClassKey + L"\\InprocServer32", L""},
        {kClassKey + L"\\InprocServer32|", DllPath()},
        {kClassKey + L"\\InprocServer32|ThreadingModel", L"Apartment"},
        {kClassKey + L"\\TypeLib", L""},
        {kClassKey + L"\\TypeLib|", kTypeLibText},
        {kTypeLibKey, L""},
        {kTypeLibKey + L"\\1.0", L""},
        {kTypeLibKey + L"\\1.0|", L"TarvexShellExt 1.0 Type Library"},
        {kTypeLibKey + L"\\1.0\\0", L""},
        {kTypeLibKey + L"\\1.0\\0\\" + machine, L""},
        {kTypeLibKey + L"\\1.0\\0\\" + machine + L"|", DllPath()},
        {kTypeLibKey + L"\\1.0\\FLAGS", L""},
        {kTypeLibKey + L"\\1.0\\FLAGS|", TextOf(kTypeLibKey + L"\\1.0\\FLAGS")},  // the system's own
        {kTypeLibKey + L"\\1.0\\HELPDIR", L""},
        {kTypeLibKey + L"\\1.0\\HELPDIR|", DllFolder()},
    };
    EXPECT_EQ(Added(before, Classes()), expected);
    EXPECT_EQ(Register(), 0u) << "a second time";
    EXPECT_EQ(Added(before, Classes()), expected);

    EXPECT_EQ(Unregister(), 0u);
    EXPECT_EQ(Classes(), before);
}

TEST_F(Registration, ReplacesTheClassKeyAndRemovesItWithAllThatItHolds) {
    SetText(kClassKey + L"\\LeftOver", L"from an older version");
    ASSERT_EQ(Register(), 0u);
    EXPECT_EQ(TextOf(kClassKey + L"\\LeftOver"), L"(none)");
    SetText(kClassKey + L"\\Added", L"later");
    EXPECT_EQ(Unregister(), 0u);
    EXPECT_EQ(TextOf(kClassKey + L"\\Added"), L"(none)");
}

TEST_F(Registration, KeepsAKeyThatHoldsKeysOfOthers) {
    ASSERT_EQ(Register(), 0u);
    SetText(kAppIdKey + L"\\Foreign", L"kept");
    EXPECT_EQ(Unregister(), 0u);
    EXPECT_EQ(TextOf(kAppIdKey + L"\\Foreign"), L"kept");
    EXPECT_EQ(TextOf(kAppIdKey), L"(none)");
}

/// Below a key that does not outlast a restart no lasting key can be made: the type library fails.
TEST_F(Registration, ThatFailsLeavesNothingBehind) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, kTypeLibKey.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                              KEY_WRITE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(key);
    const CRegistryContent before = Classes();
    EXPECT_NE(Register(), 0u);
    EXPECT_EQ(Added(before, Classes()), CRegistryContent{});
}

/// What a handler of somebody else has registered for the file type and around it.
TEST_F(Registration, KeepsWhatOthersHaveRegistered) {
    const std::wstring foreign = L"{00000000-1111-2222-3333-444444444444}";
    const std::wstring keys[]  = {L".tarvex", L".tarvex\\ShellEx\\{00021500-0000-0000-C000-000000000046}",
                                  L".tarvex\\ShellEx\\{BB2E617C-0920-11D1-9A0B-00C04FC2D6C1}",
                                  L"CLSID\\" + foreign + L"\\InprocServer32"};
    for (const std::wstring& key : keys)
        SetText(key, foreign.c_str());
    // Another DLL under our own class id: an older version, say.
    SetText(kClassKey + L"\\InprocServer32", L"C:\\older\\server.dll");
    ASSERT_EQ(Register(), 0u);
    EXPECT_EQ(TextOf(kClassKey + L"\\InprocServer32"), DllPath());
    EXPECT_EQ(TextOf(kClassKey + L"\\InprocServer32", L"ThreadingModel"), L"Apartment");
    EXPECT_EQ(Unregister(), 0u);
    for (const std::wstring& key : keys)
        EXPECT_EQ(TextOf(key), foreign) << "of others";
}

HRESULT CallExport(const char* name) {
    using Export          = HRESULT(STDAPICALLTYPE*)();
    const HMODULE dll     = LoadLibraryW(DllPath().c_str());
    void* const   address = reinterpret_cast<void*>(GetProcAddress(dll, name));
    const HRESULT result  = reinterpret_cast<Export>(address)();
    FreeLibrary(dll);
    return result;
}

TEST_F(Registration, WithoutRightsSaysSoAndWritesNothing) {
    const HRESULT denied = HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    for (const wchar_t* locked : {L"AppID", L"CLSID"}) {  // nothing can be added
        const CRegistryContent before = Classes();
        const CReadOnlyKey     key(HKEY_CLASSES_ROOT, locked);
        EXPECT_EQ(CallExport("DllRegisterServer"), denied) << locked;
        EXPECT_NE(Register(), 0u);
        EXPECT_EQ(Classes(), before) << locked;
    }
    ASSERT_EQ(Register(), 0u);  // what is there can be neither changed nor removed
    const CRegistryContent                     before = Classes();
    std::vector<std::unique_ptr<CReadOnlyKey>> keys;
    for (const auto& [name, text] : before)
        if (name.find(L'|') == name.npos &&
            (name.starts_with(kClassKey) || name.starts_with(kAppIdKey) || name.starts_with(kTypeLibKey) ||
             name == L"CLSID" || name == L"AppID" || name == L"AppID\\TarvexShellExt.DLL"))
            keys.push_back(std::make_unique<CReadOnlyKey>(HKEY_CLASSES_ROOT, name));
    EXPECT_EQ(CallExport("DllRegisterServer"), denied);
    EXPECT_EQ(CallExport("DllUnregisterServer"), denied);
    EXPECT_NE(Unregister(), 0u);
    EXPECT_EQ(Classes(), before);
}

TEST_F(Registration, PutsTheThreadLocaleBack) {
    const HMODULE dll = LoadLibraryW(DllPath().c_str());
    ASSERT_NE(dll, nullptr);
    const LCID before = GetThreadLocale();
    for (const char* name : {"DllRegisterServer", "DllUnregisterServer", "DllUnregisterServer"}) {
        SetThreadLocale(0x407);
        using Export        = HRESULT(STDAPICALLTYPE*)();
        void* const address = reinterpret_cast<void*>(GetProcAddress(dll, name));
        reinterpret_cast<Export>(address)();  // the last one fails: nothing is registered any more
        EXPECT_EQ(GetThreadLocale(), 0x407u) << name;
    }
    SetThreadLocale(before);
    FreeLibrary(dll);
}

TEST_F(Registration, WorksFromAnyFolder) {
    const std::wstring folder = TestFolder() + L"\\it's 100% %MODULE% (Gr\u00F6\u00DFe)";
    const std::wstring dll    = folder + L"\\TarvexShellExt.dll";
    CreateDirectoryW(folder.c_str(), nullptr);
    ASSERT_TRUE(CopyFileW(DllPath().c_str(), dll.c_str(), FALSE));
    EXPECT_EQ(Register(dll), 0u);
    EXPECT_EQ(TextOf(kClassKey + L"\\InprocServer32"), dll);
    { EXPECT_NE(CObject().mTip, nullptr); }
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_EQ(Unregister(dll), 0u);
    EXPECT_TRUE(DeleteFileW(dll.c_str())) << "the DLL is still in use";
    RemoveDirectoryW(folder.c_str());
}

TEST(TypeLibrary, DescribesTheClass) {
    GUID      id      = {};
    ITypeLib* library = nullptr;
    CLSIDFromString(kTypeLibText, &id);
    ASSERT_EQ(LoadRegTypeLib(id, 1, 0, 0, &library), S_OK);
    const CComRef<ITypeLib> libraryOwner(library);
    ITypeInfo*              info = nullptr;
    ASSERT_EQ(library->GetTypeInfoOfGuid(kClassId, &info), S_OK);
    const CComRef<ITypeInfo> infoOwner(info);
    TYPEATTR*                attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    info->ReleaseTypeAttr(attributes);
}

TEST(Resources, NameTheProject) {
    const HMODULE dll = LoadLibraryExW(DllPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    wchar_t       text[40];
    EXPECT_GT(LoadStringW(dll, 100, text, 40), 0);
    EXPECT_STREQ(text, L"TarvexShellExt");
    FreeLibrary(dll);
}

}  // namespace
