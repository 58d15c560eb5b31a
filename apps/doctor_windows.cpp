// What Windows was told of projects: the registry, in each view that it has, and the DLL that is named there.

#include "apps/doctor.h"
#include "apps/tool.h"

#include <objbase.h>
#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

namespace preview::doctor {
namespace {

constexpr char kClassId[]  = "{05DE8458-5BB6-444E-B969-38830122D2D5}";
constexpr char kClasses[]  = "Software\\Classes\\";
constexpr char kShell[]    = "Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\";
constexpr char kExplorer[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";
constexpr char kPolicies[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Policies\\Explorer";

std::wstring Wide(const std::string& utf8) {
    return AString(utf8.c_str(), kUtf8Encoding).Str();
}

std::string Hex(HRESULT result) {
    char text[20];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(result));
    return text;
}

/// The system's text for a COM or other error code, and the code.
std::string ReasonOf(HRESULT result) {
    return tool::ReasonOf(static_cast<unsigned>(result)) + " (" + Hex(result) + ')';
}

// ---------------------------------------------------------------------------------------------
// The registry

/// Who a key is for. What one user has goes before what all have.
struct CScope {
    HKEY        mRoot;
    const char* mName;
    bool        mForAll;
};
const CScope kScopes[] = {{HKEY_CURRENT_USER, "HKCU\\", false}, {HKEY_LOCAL_MACHINE, "HKLM\\", true}};

/// An open key, or none.
class CKey {
  public:
    CKey(HKEY root, const std::string& path, REGSAM view) {
        if (RegOpenKeyExW(root, Wide(path).c_str(), 0, KEY_READ | view, &mKey) != ERROR_SUCCESS)
            mKey = nullptr;
    }
    ~CKey() {
        if (mKey != nullptr) RegCloseKey(mKey);
    }
    CKey(const CKey&)            = delete;
    CKey& operator=(const CKey&) = delete;

    bool IsOpen() const { return mKey != nullptr; }
    bool HasValue(const std::string& name) const {
        return RegQueryValueExW(mKey, Wide(name).c_str(), nullptr, nullptr, nullptr, nullptr) ==
               ERROR_SUCCESS;
    }
    /// A text, with the variables in it replaced; empty when there is none.
    std::string Text(const std::string& name) const {
        const std::wstring wide  = Wide(name);
        DWORD              bytes = 0;
        if (RegGetValueW(mKey, nullptr, wide.c_str(), RRF_RT_REG_SZ, nullptr, nullptr, &bytes) !=
            ERROR_SUCCESS)
            return {};
        std::wstring text(bytes / sizeof(wchar_t) + 1, L'\0');
        bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        if (RegGetValueW(mKey, nullptr, wide.c_str(), RRF_RT_REG_SZ, nullptr, text.data(), &bytes) !=
            ERROR_SUCCESS)
            return {};
        return AString(text.c_str()).ToNarrow(kUtf8Encoding);
    }
    std::optional<DWORD> Number(const char* name) const {
        DWORD value = 0, bytes = sizeof value;
        if (RegGetValueW(mKey, nullptr, Wide(name).c_str(), RRF_RT_REG_DWORD, nullptr, &value, &bytes) !=
            ERROR_SUCCESS)
            return std::nullopt;
        return value;
    }

  private:
    HKEY mKey = nullptr;
};

struct CEntry {
    std::string mPlace;  ///< as people write it
    std::string mText;
    bool        mForAll = true;
};

/// The text of a key of the classes, the user's own first; none when it is in neither place, or empty.
std::optional<CEntry> ClassText(const std::string& key, REGSAM view) {
    for (const auto& [root, name, forAll] : kScopes) {
        const std::string path = kClasses + key;
        const std::string text = CKey(root, path, view).Text("");
        if (!text.empty()) return CEntry{name + path, text, forAll};
    }
    return std::nullopt;
}

/// Where a list of classes has ours; empty when neither that of the user nor that of all has.
std::string PlaceInList(const char* list, REGSAM view) {
    for (const auto& [root, name, forAll] : kScopes) {
        const CKey key(root, std::string(kShell) + list, view);
        if (key.IsOpen() && key.HasValue(kClassId)) return std::string(name) + kShell + list;
    }
    return {};
}

// ---------------------------------------------------------------------------------------------
// Views

struct CMachine {
    WORD        mCode;  ///< of a program's header
    const char* mName;
};
constexpr CMachine kMachines[] = {
    {IMAGE_FILE_MACHINE_AMD64, "x64"}, {IMAGE_FILE_MACHINE_I386, "x86"}, {0xAA64, "ARM64"}};
std::string NameOfMachine(WORD code) {
    for (const CMachine& machine : kMachines)
        if (machine.mCode == code) return machine.mName;
    return "another processor";
}

WORD OwnMachine() {
    const auto* image = reinterpret_cast<const char*>(GetModuleHandleW(nullptr));
    const auto  start = reinterpret_cast<const IMAGE_DOS_HEADER*>(image)->e_lfanew;
    return reinterpret_cast<const IMAGE_NT_HEADERS*>(image + start)->FileHeader.Machine;
}

/// The machine that a DLL is for; 0 when it is none.
WORD MachineOf(const std::string& path) {
    std::ifstream    file(std::filesystem::path(Wide(path)), std::ios::binary);
    IMAGE_DOS_HEADER start{};
    file.read(reinterpret_cast<char*>(&start), sizeof start);
    if (!file || start.e_magic != IMAGE_DOS_SIGNATURE) return 0;
    struct {
        DWORD             mSignature;
        IMAGE_FILE_HEADER mHeader;
    } image{};
    file.seekg(start.e_lfanew).read(reinterpret_cast<char*>(&image), sizeof image);
    return file && image.mSignature == IMAGE_NT_SIGNATURE ? image.mHeader.Machine : WORD{0};
}

/// One of the registries that programs see, and what is known of it so far.
struct CView {
    const char*        mTitle;
    REGSAM             mFlag;
    WORD               mMachine;   ///< of its programs
    const char*        mRegister;  ///< its program that registers DLLs
    const std::string& mExtension;
    bool               mForAll = true;  ///< whom the class is registered for
    std::string        mDll    = {};
};

std::vector<CView> Views(const std::string& extension) {
    SYSTEM_INFO system;
    GetNativeSystemInfo(&system);
    const char* own = "%SystemRoot%\\System32\\regsvr32.exe";
    if (system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_INTEL)
        return {{"File manager, 32 bits", 0, IMAGE_FILE_MACHINE_I386, own, extension}};
    const WORD native = system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64
                            ? WORD{IMAGE_FILE_MACHINE_AMD64}
                            : WORD{0xAA64};
    return {{"File manager, 64 bits", KEY_WOW64_64KEY, native, own, extension},
            {"Programs of 32 bits", KEY_WOW64_32KEY, IMAGE_FILE_MACHINE_I386,
             "%SystemRoot%\\SysWOW64\\regsvr32.exe", extension}};
}

std::string RegisterRemedy(const CView& view) {
    return std::string("Run the installer again, or as administrator: ") + view.mRegister + " \"" +
           (view.mDll.empty() ? "FOLDER\\TarvexShellExt.dll" : view.mDll) + "\" with the DLL for " +
           NameOfMachine(view.mMachine) + '.';
}

// ---------------------------------------------------------------------------------------------
// The class and its DLL

std::string ClassKey() {
    return std::string("CLSID\\") + kClassId;
}

/// The place of the class in a view; empty when it is not there.
std::string PlaceOfClass(REGSAM view, bool* forAll) {
    for (const auto& [root, name, isForAll] : kScopes) {
        *forAll = isForAll;
        if (CKey(root, kClasses + ClassKey(), view).IsOpen())
            return std::string(name) + kClasses + ClassKey();
    }
    return {};
}

CFinding LookAtClass(CView& view) {
    const std::string place = PlaceOfClass(view.mFlag, &view.mForAll);
    if (!place.empty())
        return {EState::kHolds, place + (view.mForAll ? " (for all users)" : " (for this user)"), ""};
    bool       ignored = false;
    const bool inOther = view.mFlag == KEY_WOW64_64KEY && !PlaceOfClass(KEY_WOW64_32KEY, &ignored).empty();
    return {EState::kBroken,
            "no key " + ClassKey() + " in HKCU\\" + kClasses + " or HKLM\\" + kClasses +
                (inOther ? "; 32-bit programs have one, which the file manager does not see" : ""),
            RegisterRemedy(view)};
}

CFinding LookAtServer(CView& view) {
    const auto server = ClassText(ClassKey() + "\\InprocServer32", view.mFlag);
    if (!server)
        return {EState::kBroken, "the class has no key InprocServer32 that names a DLL",
                RegisterRemedy(view)};
    view.mDll = server->mText;
    return {EState::kHolds, view.mDll, ""};
}

CFinding LookAtDll(CView& view) {
    const DWORD attributes = GetFileAttributesW(Wide(view.mDll).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        return {EState::kHolds, "is there", ""};
    return {EState::kBroken, view.mDll + " is not there", "Run the installer again: it puts the DLL back."};
}

CFinding LookAtMachine(CView& view) {
    const WORD machine = MachineOf(view.mDll);
    if (machine == view.mMachine) return {EState::kHolds, "is for " + NameOfMachine(machine), ""};
    return {EState::kBroken,
            view.mDll + (machine == 0 ? " is no DLL" : " is for " + NameOfMachine(machine)) +
                "; these programs need one for " + NameOfMachine(view.mMachine),
            "Run the installer again: it registers the right DLL for each kind of program."};
}

CFinding LookAtThreading(CView& view) {
    std::string model;
    for (const auto& [root, name, forAll] : kScopes)
        if (model.empty())
            model = CKey(root, kClasses + ClassKey() + "\\InprocServer32", view.mFlag).Text("ThreadingModel");
    if (AString(model.c_str()).CompareNoCase(AString(L"Apartment")) == 0) return {EState::kHolds, model, ""};
    return {EState::kBroken, model.empty() ? "none is set" : '"' + model + "\" is set, not \"Apartment\"",
            RegisterRemedy(view)};
}

CFinding LookAtLoading(CView& view) {
    if (view.mMachine != OwnMachine())
        return {EState::kNotApplicable,
                "only the tarvex-preview.exe for " + NameOfMachine(view.mMachine) + " can try that", ""};
    const HMODULE dll = LoadLibraryExW(Wide(view.mDll).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (dll == nullptr)
        return {EState::kBroken, "cannot be loaded: " + tool::ReasonOf(GetLastError()),
                "Run the installer again. If that does not help, see whether a virus scanner keeps the DLL "
                "back."};
    using CGetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto entry =
        reinterpret_cast<CGetClassObject>(reinterpret_cast<void*>(GetProcAddress(dll, "DllGetClassObject")));
    CLSID     classId;
    IUnknown* factory = nullptr;
    HRESULT   result  = CLSIDFromString(Wide(kClassId).c_str(), &classId);
    if (SUCCEEDED(result))
        result = entry == nullptr ? HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND)
                                  : entry(classId, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (factory != nullptr) factory->Release();
    FreeLibrary(dll);
    if (SUCCEEDED(result)) return {EState::kHolds, "loads, and knows the class", ""};
    return {EState::kBroken, "loads, but does not know the class: " + ReasonOf(result),
            "Another DLL is registered in place of ours: run the installer again."};
}

bool IsElevated() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return false;
    TOKEN_ELEVATION elevation{};
    DWORD           bytes = 0;
    const bool      known =
        GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &bytes) != FALSE;
    CloseHandle(token);
    return known && elevation.TokenIsElevated != 0;
}

CFinding LookAtObject(CView& view) {
    if (view.mMachine != OwnMachine()) return LookAtLoading(view);
    CLSID     classId;
    IUnknown* object = nullptr;
    HRESULT   result = CLSIDFromString(Wide(kClassId).c_str(), &classId);
    if (SUCCEEDED(result))
        result = CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IPersistFile,
                                  reinterpret_cast<void**>(&object));
    if (object != nullptr) object->Release();
    if (SUCCEEDED(result)) return {EState::kHolds, "is made, and takes files", ""};
    if (result == REGDB_E_CLASSNOTREG && !view.mForAll && IsElevated())
        return {
            EState::kNote,
            "COM gives programs with an administrator's rights no class of a single user: ask without those",
            ""};
    return {EState::kBroken, "COM does not make it: " + ReasonOf(result), RegisterRemedy(view)};
}

constexpr CStep<CView> kClassSteps[] = {
    {"Class", LookAtClass, true},
    {"DLL named", LookAtServer, true},
    {"DLL present", LookAtDll, true},
    {"DLL's machine", LookAtMachine, true},
    {"Threading model", LookAtThreading, true},
    {"DLL loads", LookAtLoading, true},
    {"Object", LookAtObject, true},
};

// ---------------------------------------------------------------------------------------------
// Handlers: what the shell finds the class by

struct CHandler {
    const char* mName;
    const char* mInterface;
};
constexpr CHandler kHandlers[] = {{"Tip", "{00021500-0000-0000-C000-000000000046}"},
                                  {"Thumbnail", "{BB2E617C-0920-11d1-9A0B-00C04FC2D6C1}"}};

bool IsOurs(const std::string& classId) {
    return AString(classId.c_str()).CompareNoCase(AString(kClassId)) == 0;
}

/// Who a foreign class is, as far as it says.
std::string Describe(const std::string& classId, REGSAM view) {
    const auto name = ClassText("CLSID\\" + classId, view);
    return classId + (name ? " \"" + name->mText + '"' : "");
}

/// What stands at one place about a handler.
CFinding LookAtHandler(const CView& view, const CHandler& handler, const std::string& at, bool needed) {
    const std::string key   = at + "\\ShellEx\\" + handler.mInterface;
    const auto        entry = ClassText(key, view.mFlag);
    if (entry && IsOurs(entry->mText)) return {EState::kHolds, entry->mPlace, ""};
    if (!entry && !needed) return {EState::kNotApplicable, "nothing stands there; the extension counts", ""};
    const std::string command = std::string("reg add \"") + (view.mForAll ? "HKLM\\" : "HKCU\\") + kClasses +
                                key + "\" /ve /d \"" + kClassId + "\" /f";
    const std::string remedy = "Run the installer again" +
                               (view.mExtension == kExtension ? "" : " with /EXT=" + view.mExtension) +
                               ", or as administrator: " + command;
    if (!entry) return {EState::kBroken, "nothing is set at " + std::string(kClasses) + key, remedy};
    return {EState::kBroken,
            entry->mPlace + " leads to another program, " + Describe(entry->mText, view.mFlag), remedy};
}

/// The name under which the programs of an extension stand: what the user chose, else what is registered.
/// Only one that exists counts.
std::string ProgIdOf(const std::string& extension, REGSAM view) {
    const std::string chosen =
        CKey(HKEY_CURRENT_USER, std::string(kExplorer) + "FileExts\\" + extension + "\\UserChoice", 0)
            .Text("ProgId");
    const auto registered = ClassText(extension, view);
    for (const std::string& name : {chosen, registered ? registered->mText : std::string()})
        for (const CScope& scope : kScopes)
            if (!name.empty() && CKey(scope.mRoot, kClasses + name, view).IsOpen()) return name;
    return {};
}

void LookAtHandlers(const CView& view, CGroup& group) {
    if (view.mExtension.empty()) {
        group.mLinks.push_back(
            {"Extension",
             {EState::kBroken, "the name has none, by which Windows tells what a file is",
              std::string("Give it the extension ") + kExtension + " if it is a project."}});
        return;
    }
    const std::string progId = ProgIdOf(view.mExtension, view.mFlag);
    for (const CHandler& handler : kHandlers) {
        // The shell asks the ProgID before the extension.
        CFinding atProgId{EState::kNotApplicable, "the extension has none", ""};
        if (!progId.empty()) atProgId = LookAtHandler(view, handler, progId, false);
        CFinding atExtension = LookAtHandler(view, handler, view.mExtension, true);
        if (atProgId.mState == EState::kHolds && atExtension.mState == EState::kBroken)
            atExtension = {EState::kNote, atExtension.mFound + "; what stands at the ProgID counts", ""};
        group.mLinks.push_back({std::string(handler.mName) + " at " + view.mExtension, atExtension});
        group.mLinks.push_back(
            {std::string(handler.mName) + " at " + (progId.empty() ? "ProgID" : progId), atProgId});
    }
}

// ---------------------------------------------------------------------------------------------
// What the shell may run, and shall show

CFinding LookAtApproved(const CView& view) {
    if (const std::string place = PlaceInList("Approved", view.mFlag); !place.empty())
        return {EState::kHolds, place, ""};
    bool enforced = false;
    for (const CScope& scope : kScopes)
        enforced =
            enforced ||
            CKey(scope.mRoot, kPolicies, view.mFlag).Number("EnforceShellExtensionSecurity").value_or(0) != 0;
    if (!enforced || !view.mForAll)
        return {EState::kNotApplicable, "the class is not in the list, nor does it have to be here", ""};
    return {EState::kBroken,
            "the class is not in HKLM\\" + std::string(kShell) + "Approved, and a policy lets no other run",
            "Run the installer again as administrator, or have your administrator approve " +
                std::string(kClassId) + '.'};
}

CFinding LookAtBlocked(const CView& view) {
    const std::string place = PlaceInList("Blocked", view.mFlag);
    if (place.empty()) return {EState::kHolds, "the class is not among those", ""};
    return {EState::kBroken, place + " has the class",
            "Somebody switched it off: delete the value " + std::string(kClassId) +
                " there, or ask your administrator."};
}

/// Switches of the file manager that keep it from asking anybody.
struct CSwitch {
    const char* mName;
    const char* mFolder;
    const char* mKey;
    const char* mValue;
    DWORD       mOff;  ///< the value that breaks the link
    const char* mRemedy;
};
const CSwitch kSwitches[] = {
    {"Tips are shown", kExplorer, "Advanced", "ShowInfoTip", 0,
     "In the folder options, under View, tick \"Show pop-up description for folder and desktop items\"."},
    {"Thumbnails are shown", kExplorer, "Advanced", "IconsOnly", 1,
     "In the folder options, under View, clear \"Always show icons, never thumbnails\"."},
    {"Thumbnails are allowed", kPolicies, "", "DisableThumbnails", 1,
     "A policy forbids thumbnails: ask your administrator."},
};

CFinding LookAtSwitch(const CSwitch& shown) {
    for (const auto& [root, name, forAll] : kScopes) {
        const std::string key = std::string(shown.mFolder) + shown.mKey;
        if (CKey(root, key, 0).Number(shown.mValue) == shown.mOff)
            return {EState::kBroken,
                    std::string(name) + key + ": " + shown.mValue + " is " + std::to_string(shown.mOff),
                    shown.mRemedy};
    }
    return {EState::kHolds, "nobody switched them off", ""};
}

CGroup ExamineView(CView& view) {
    // Programs of the other kind do without: the file manager is none of them.
    bool ignored = false;
    if (view.mFlag == KEY_WOW64_32KEY && PlaceOfClass(view.mFlag, &ignored).empty())
        return {view.mTitle, {{"Class", {EState::kNotApplicable, "is not registered for them", ""}}}};
    CGroup group = Walk(view.mTitle, kClassSteps, view);
    // Extensions and ProgIDs are there once, for programs of both kinds.
    if (view.mFlag != KEY_WOW64_32KEY) LookAtHandlers(view, group);
    group.mLinks.push_back({"Approved", LookAtApproved(view)});
    group.mLinks.push_back({"Not blocked", LookAtBlocked(view)});
    return group;
}

}  // namespace

void ExamineSystem(const CCase& subject, CReport& report) {
    SetErrorMode(SEM_FAILCRITICALERRORS);  // a DLL that does not load is told of here, in no box
    const HRESULT entered = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    for (CView& view : Views(subject.mExtension))
        report.push_back(ExamineView(view));
    if (SUCCEEDED(entered)) CoUninitialize();
    CGroup settings{"Settings of the file manager", {}};
    for (const CSwitch& shown : kSwitches)
        settings.mLinks.push_back({shown.mName, LookAtSwitch(shown)});
    report.push_back(std::move(settings));
}

}  // namespace preview::doctor
