#include "packaging/windows/machine.h"
#include "shellext/read_only_key.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace {

const std::wstring kClasses   = L"Software\\Classes\\";
const std::wstring kClassId   = L"{05DE8458-5BB6-444E-B969-38830122D2D5}";
const std::wstring kTipId     = L"{00021500-0000-0000-C000-000000000046}";
const std::wstring kPictureId = L"{BB2E617C-0920-11d1-9A0B-00C04FC2D6C1}";
const std::wstring kForeignId = L"{00000000-1111-2222-3333-444444444444}";
const std::wstring kOwnKey    = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\TarvexShellExt";
const std::wstring kApproved  = L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";

enum ExitStatus : DWORD { kInstalled = 0, kUnusable = 3, kFailed = 5 };

/// For all users, or for one.
struct CScope {
    const wchar_t* mOption;
    HKEY           mRoot;
};
const CScope kAll = {L"/ALLUSERS", HKEY_LOCAL_MACHINE};
const CScope kOne = {L"/CURRENTUSER", HKEY_CURRENT_USER};

const std::vector<int>& Views() {
    static const std::vector<int> views = Is64() ? std::vector{64, 32} : std::vector{32};
    return views;
}

/// The handler of tips or pictures that is set at an extension or at a ProgID. Both views share it.
CPlace Handler(const std::wstring& type, const std::wstring& id, HKEY root = kAll.mRoot) {
    return {root, 64, kClasses + type + L"\\ShellEx\\" + id};
}

CPlace OwnValue(const CScope& scope, const wchar_t* name) {
    return {scope.mRoot, 64, kOwnKey, name};
}

std::wstring FolderFor(const CScope& scope) {
    if (scope.mRoot == kOne.mRoot) return Variable(L"LOCALAPPDATA") + L"\\Programs\\Tarvex project previews";
    // For a 32-bit process on a 64-bit system ProgramFiles is the folder of its own kind.
    const std::wstring files = Variable(L"ProgramW6432");
    return (files.empty() ? Variable(L"ProgramFiles") : files) + L"\\Tarvex project previews";
}

std::wstring DllFor(const CScope& scope, int view) {
    return FolderFor(scope) + (view == 64 ? L"\\x64" : L"\\x86") + L"\\TarvexShellExt.dll";
}

DWORD Install(const std::wstring& options, const CScope& scope = kAll) {
    return RunProgram(L"\"" + Variable(L"TARVEX_SETUP") + L"\" /S " + scope.mOption + L" " + options);
}

/// As the list of installed programs does it. The uninstaller runs from a copy of itself: its file is the
/// last but for the folders.
void Uninstall(const CScope& scope = kAll) {
    ASSERT_EQ(RunProgram(Text(OwnValue(scope, L"QuietUninstallString"))), 0u);
    for (int i = 0; i < 200 && Exists(FolderFor(scope)); ++i)
        Sleep(50);
    EXPECT_FALSE(Exists(FolderFor(scope)));
}

const char kProject[] =
    "$begin 'TarvexProject'\n\tProduct='ZEPH'\n\t$begin 'Desktop'\n\t\tVersion(2013, 0)\n\t$end 'Desktop'\n"
    "$end 'TarvexProject'\n$begin 'ProjectPreview'\n\t$begin 'DesignInfo'\n\t\tDesignName='A'\n"
    "\t$end 'DesignInfo'\n"
    "\tThumbnail64='R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw=='\n"
    "$end 'ProjectPreview'\n";

/// What the shell shows for it.
const std::wstring kShown  = L"Type: Tarvex ZEPH 2013.0 File / #FF0000";
const std::wstring kHidden = L"none / none";

/// All that is installed into: the registry for all users and for this one.
struct CRegistry {
    CSnapshot mMachine = Snapshot(kAll.mRoot);
    CSnapshot mUser    = Snapshot(kOne.mRoot);
};

/// Every test leaves the machine as it found it.
class Installer : public testing::Test {
  protected:
    void SetUp() override {
        CreateDirectoryW(mFolder.c_str(), nullptr);
        for (const CScope& scope : {kAll, kOne})
            ASSERT_FALSE(Exists(FolderFor(scope)));
        if (gClean == nullptr) {
            // The shell makes keys of its own when it first finds a handler, which need not be there.
            SetText(Handler(L".first", kTipId), kForeignId.c_str());
            for (const int view : Views())
                Shown(view, {L"plain.first"});
            RemoveKey({kAll.mRoot, 64, kClasses + L".first"});
            gClean = std::make_shared<CRegistry>();
        }
        mBefore = gClean;
    }
    void TearDown() override { RemoveDirectoryW(mFolder.c_str()); }

    /// For tests that have prepared the registry: how it is to be in the end.
    void NoteRegistry() { mBefore = std::make_shared<CRegistry>(); }
    void ExpectForAllAsBefore() { EXPECT_EQ(Differences(mBefore->mMachine, Snapshot(kAll.mRoot)), ""); }
    void ExpectNothingLeft() {
        ExpectForAllAsBefore();
        EXPECT_EQ(Differences(mBefore->mUser, Snapshot(kOne.mRoot)), "");
        for (const CScope& scope : {kAll, kOne})
            EXPECT_FALSE(Exists(FolderFor(scope)));
    }

    /// What the shell of one kind of process shows for files of these names.
    std::vector<std::wstring> Shown(int view, const std::vector<std::wstring>& names) {
        const std::wstring out = mFolder + L"\\shown";
        std::wstring       command =
            L"\"" + Variable(view == 64 ? L"TARVEX_CLIENT64" : L"TARVEX_CLIENT32") + L"\" \"" + out + L"\"";
        for (const std::wstring& name : names) {
            WriteContent(mFolder + L"\\" + name, kProject);
            command += L" \"" + mFolder + L"\\" + name + L"\"";
        }
        EXPECT_EQ(RunProgram(command), 0u);
        const std::string         bytes = Content(out);
        std::vector<std::wstring> lines(1);
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            const auto unit = static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) |
                                                   static_cast<unsigned char>(bytes[i + 1]) << 8);
            if (unit == L'\n') {
                lines.emplace_back();
            } else {
                lines.back() += unit;
            }
        }
        lines.pop_back();
        for (const std::wstring& name : names)
            DeleteFileW((mFolder + L"\\" + name).c_str());
        DeleteFileW(out.c_str());
        return lines;
    }

    const std::wstring mFolder = Variable(L"TEMP") + L"\\tarvex-installer";

    static inline std::shared_ptr<const CRegistry> gClean;  ///< before the first test
    std::shared_ptr<const CRegistry>               mBefore;
};

TEST_F(Installer, ShowsTipsAndPicturesUntilItIsUninstalled) {
    const std::vector<std::wstring> ours   = {L"plain.tarvex", L"UPPER.TARVEX", L"Gr\u00F6\u00DFe.tarvex",
                                              L"other.Abc", L"other.def"};
    const std::vector<std::wstring> others = {L"other.ghi"};
    for (const int view : Views())
        EXPECT_EQ(Shown(view, ours), std::vector(ours.size(), kHidden)) << "before, " << view;
    ASSERT_EQ(Install(L"/EXT=.abc,.DEF"), kInstalled);
    for (const int view : Views()) {
        EXPECT_EQ(Shown(view, ours), std::vector(ours.size(), kShown)) << view;
        EXPECT_EQ(Shown(view, others), std::vector(others.size(), kHidden)) << view;
    }
    Uninstall();
    for (const int view : Views())
        EXPECT_EQ(Shown(view, ours), std::vector(ours.size(), kHidden)) << "after, " << view;
    ExpectNothingLeft();
}

TEST_F(Installer, InstallsProgramsAndEntersThemIntoTheList) {
    for (const CScope& scope : {kAll, kOne}) {
        ASSERT_EQ(Install(L"", scope), kInstalled);
        const std::wstring folder    = FolderFor(scope);
        const std::wstring rows[][2] = {
            {L"DisplayName", L"Tarvex project previews"},
            {L"DisplayVersion", Variable(L"TARVEX_VERSION")},
            {L"DisplayIcon", folder + L"\\uninstall.exe,0"},
            {L"Publisher", L"Tarvex project previews"},
            {L"InstallLocation", folder},
            {L"UninstallString", L"\"" + folder + L"\\uninstall.exe\""},
            {L"QuietUninstallString", L"\"" + folder + L"\\uninstall.exe\" /S"},
        };
        for (const auto& [name, text] : rows)
            EXPECT_EQ(Text(OwnValue(scope, name.c_str())), text);
        for (const int view : Views())
            EXPECT_EQ(Text({scope.mRoot, view, kApproved, kClassId}), L"Tarvex project previews");

        std::vector<std::wstring> files = {L"tarvex-blocks.exe", L"tarvex-preview.exe", L"uninstall.exe",
                                           L"x86\\TarvexShellExt.dll"};
        if (Is64()) files.insert(files.end() - 1, L"x64\\TarvexShellExt.dll");
        EXPECT_EQ(FilesBelow(folder), files);
        std::size_t bytes = 0;
        for (const std::wstring& file : files)
            bytes += Content(folder + L"\\" + file).size();
        const std::wstring size = Text(OwnValue(scope, L"EstimatedSize"));
        EXPECT_NEAR(static_cast<double>(size[0] + 65536u * size[1]), static_cast<double>(bytes) / 1024, 2);
        for (const wchar_t* name : {L"NoModify", L"NoRepair"})
            EXPECT_EQ(Text(OwnValue(scope, name)), L"\1");
        const std::wstring program = L"\"" + folder + L"\\tarvex-preview.exe\" ";
        EXPECT_EQ(RunProgram(program + L"--version"), 0u);
        // Wine shows the class of one user to programs of both kinds, which Windows does not.
        const bool isMixed = Is64() && scope.mRoot != kAll.mRoot;
        EXPECT_EQ(RunProgram(program + L"doctor"), isMixed ? 1u : 0u);
        Uninstall(scope);
    }
    ExpectNothingLeft();
}

/// Runs the system's registration tool for each machine's DLL.
void RegisterByHand(const std::wstring& options) {
    for (const int view : Views()) {
        const std::wstring folder = view == 32 && Is64() ? L"\\syswow64" : L"\\system32";
        EXPECT_EQ(RunProgram(Variable(L"SystemRoot") + folder + L"\\regsvr32.exe " + options + L"/s \"" +
                             DllFor(kAll, view) + L"\""),
                  0u);
    }
}

/// The entries are the installer's own, but the same as the DLL's.
TEST_F(Installer, RegistersWhatTheDllWouldRegister) {
    ASSERT_EQ(Install(L""), kInstalled);
    CSnapshot installed = Snapshot(kAll.mRoot, L"Software\\Classes");
    RegisterByHand(L"");
    CSnapshot registered = Snapshot(kAll.mRoot, L"Software\\Classes");
    for (CSnapshot* snapshot : {&installed, &registered})
        std::erase_if(*snapshot, [](const auto& entry) {
            return entry.first.ends_with(kClassId + L"\\Programmable\\") ||  // an empty key that nobody reads
                   entry.first.ends_with(L"\\FLAGS\\|") ||                   // the system's own
                   entry.first.ends_with(L"\\HELPDIR\\|");                   // shared by both
        });
    EXPECT_EQ(Differences(installed, registered), "");
    // What has been taken away meanwhile is not missed.
    RegisterByHand(L"/u ");
    Uninstall();
    ExpectNothingLeft();
}

/// Handlers of somebody else, at an extension that has a ProgID.
class ForeignHandlers : public Installer {
  protected:
    void SetUp() override {
        Installer::SetUp();
        SetText({kAll.mRoot, 64, kClasses + L".tarvex"}, L"Other.Project");
        SetText({kAll.mRoot, 64, kClasses + L".tarvex", L"Content Type"}, L"application/x-other");
        SetText({kAll.mRoot, 64, kClasses + L"Other.Project"}, L"A project");
        SetText(Handler(L".tarvex", kTipId), kForeignId.c_str());
        SetText(Handler(L"Other.Project", kPictureId), kForeignId.c_str(), REG_EXPAND_SZ);
        SetText({kAll.mRoot, 64, kClasses + L"Other.Project\\ShellEx\\PropertyHandler"}, L"{1}");
        SetText({kAll.mRoot, 64, kClasses + L".abc"}, L"Gone.Project");  // which is not there
        SetText({kAll.mRoot, 32, kApproved, kClassId}, L"by an administrator");
        // Another DLL of ours, registered by hand.
        SetText({kAll.mRoot, 64, kClasses + L"CLSID\\" + kClassId + L"\\InprocServer32"}, L"C:\\own.dll");
        NoteRegistry();
    }
    void TearDown() override {
        for (const wchar_t* key : {L".tarvex", L"Other.Project", L".abc"})
            RemoveKey({kAll.mRoot, 64, kClasses + key});
        RemoveKey({kAll.mRoot, 64, kClasses + L"CLSID\\" + kClassId});
        {
            HKEY key = nullptr;
            RegOpenKeyExW(kAll.mRoot, kApproved.c_str(), 0, KEY_WRITE | KEY_WOW64_32KEY, &key);
            RegDeleteValueW(key, kClassId.c_str());
            RegCloseKey(key);
        }
        Installer::TearDown();
    }
};

TEST_F(ForeignHandlers, AreReplacedAndPutBack) {
    ASSERT_EQ(Install(L"/EXT=.abc"), kInstalled);
    for (const wchar_t* type : {L".tarvex", L"Other.Project", L".abc"})
        for (const std::wstring& id : {kTipId, kPictureId})
            EXPECT_EQ(Text(Handler(type, id)), kClassId) << type;
    for (const int view : Views())
        EXPECT_EQ(Shown(view, {L"plain.tarvex"}), std::vector{kShown}) << view;
    EXPECT_EQ(Text(Handler(L"Gone.Project", kTipId)), L"(none)");
    Uninstall();
    ExpectNothingLeft();
}

TEST_F(ForeignHandlers, ArePutBackAfterUpdates) {
    ASSERT_EQ(Install(L"/EXT=.abc"), kInstalled);
    ASSERT_EQ(Install(L""), kInstalled);
    EXPECT_EQ(Text(OwnValue(kAll, L"Extensions")), L".tarvex,.abc");
    EXPECT_EQ(Text(Handler(L".abc", kTipId)), kClassId) << "an update forgets no extension";
    ASSERT_EQ(Install(L"/EXT=.xyz,.ABC"), kInstalled);
    EXPECT_EQ(Text(OwnValue(kAll, L"Extensions")), L".tarvex,.abc,.xyz");
    Uninstall();
    ExpectNothingLeft();
}

TEST_F(ForeignHandlers, ThatTookOverSinceStay) {
    const std::wstring newer = L"{99999999-1111-2222-3333-444444444444}";
    for (const bool update : {false, true}) {  // which takes them over again
        ASSERT_EQ(Install(L""), kInstalled);
        SetText(Handler(L".tarvex", kTipId), newer.c_str());
        SetText(Handler(L"Other.Project", kTipId), newer.c_str());
        if (update) {
            ASSERT_EQ(Install(L""), kInstalled);
        }
        EXPECT_EQ(Text(Handler(L".tarvex", kTipId)), update ? kClassId : newer);
        Uninstall();
        EXPECT_EQ(Text(Handler(L".tarvex", kTipId)), newer);
        EXPECT_EQ(Text(Handler(L"Other.Project", kTipId)), newer);
        EXPECT_EQ(Text(Handler(L"Other.Project", kPictureId)), kForeignId);
        SetText(Handler(L".tarvex", kTipId), kForeignId.c_str());
        RemoveKey(Handler(L"Other.Project", kTipId));
    }
    ExpectNothingLeft();
}

TEST_F(Installer, UpdatesADllThatIsLoaded) {
    const std::wstring dll = DllFor(kAll, sizeof(void*) == 8 ? 64 : 32);
    ASSERT_EQ(Install(L""), kInstalled);
    const std::string content = Content(dll);
    for (const bool twice : {false, true}) {
        const HMODULE loaded = LoadLibraryW(dll.c_str());
        ASSERT_NE(loaded, nullptr);
        ASSERT_EQ(Install(L""), kInstalled);
        if (twice) {
            ASSERT_EQ(Install(L""), kInstalled);
        }
        EXPECT_EQ(Content(dll), content);
        EXPECT_TRUE(Exists(dll + L".1.old"));
        FreeLibrary(loaded);
        ASSERT_EQ(Install(L""), kInstalled);
        const std::vector<std::wstring> files = FilesBelow(FolderFor(kAll));
        EXPECT_TRUE(std::ranges::none_of(files, [](const auto& name) { return name.ends_with(L".old"); }));
    }
    Uninstall();
    ExpectNothingLeft();
}

TEST_F(Installer, UninstallsADllThatIsLoaded) {
    const std::wstring dll = DllFor(kAll, sizeof(void*) == 8 ? 64 : 32);
    ASSERT_EQ(Install(L""), kInstalled);
    const HMODULE first = LoadLibraryW(dll.c_str());
    ASSERT_EQ(Install(L""), kInstalled);
    const HMODULE second = LoadLibraryW(dll.c_str());
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    Uninstall();
    FreeLibrary(first);
    FreeLibrary(second);
    ExpectNothingLeft();
}

TEST_F(Installer, ForOneUserWritesNothingForOthers) {
    // Somebody else's, for all users: below that of the one user, and not its to change.
    const CPlace type = {kAll.mRoot, 64, kClasses + L".tarvex"};
    const CPlace name = {kAll.mRoot, 64, kClasses + L"Other.Project"};
    SetText(type, L"Other.Project");
    SetText(name, L"A project");
    // Windows keeps a user's classes for each view; a system that does not is served its own machine's.
    const CPlace probe = {kOne.mRoot, 32, kClasses + L"CLSID\\" + kForeignId};
    SetText(probe, L"32");
    const bool sharedByViews = Text({kOne.mRoot, 64, probe.mKey}) == L"32";
    RemoveKey(probe);
    for (const wchar_t* made : {L"Software\\Classes\\CLSID", L"Software\\Classes"})
        if (!gClean->mUser.contains(made + std::wstring(L"\\"))) RemoveKey({kOne.mRoot, 64, made});
    NoteRegistry();

    ASSERT_EQ(Install(L"/EXT=.abc", kOne), kInstalled);
    ExpectForAllAsBefore();
    for (const int view : Views()) {
        EXPECT_EQ(Text({kOne.mRoot, view, kClasses + L"CLSID\\" + kClassId + L"\\InprocServer32"}),
                  DllFor(kOne, sharedByViews ? Views().front() : view));
        for (const wchar_t* place : {L".tarvex", L".abc", L"Other.Project"})
            for (const std::wstring& id : {kTipId, kPictureId})
                EXPECT_EQ(Text(Handler(place, id, kOne.mRoot)), kClassId);
    }
    // Where nobody says for whom, it is for those that it is installed for.
    EXPECT_EQ(RunProgram(L"\"" + Variable(L"TARVEX_SETUP") + L"\" /S"), kInstalled);
    Uninstall(kOne);
    ExpectNothingLeft();
    RemoveKey(type);
    RemoveKey(name);
}

TEST_F(Installer, RefusesWhatIsNoExtension) {
    for (const wchar_t* extensions :
         {L"", L"abc", L".", L"\".a b\"", L".a\\b", L".a/b", L".abc,,.def", L".abc,def", L".a.b", L".a*"})
        EXPECT_EQ(Install(std::wstring(L"/EXT=") + extensions), kUnusable) << extensions;
    EXPECT_EQ(Install(L"/EXT=." + std::wstring(65, L'a')), kUnusable);
    ExpectNothingLeft();
}

/// The last of what it writes cannot be written.
TEST_F(Installer, ThatFailsLeavesEverythingAsItWas) {
    const CPlace type = {kAll.mRoot, 64, kClasses + L".zzz"};
    SetText(type, L"");
    NoteRegistry();
    {
        const CReadOnlyKey key(type.mRoot, type.mKey, type.ViewFlag());
        EXPECT_EQ(Install(L"/EXT=.abc,.zzz"), kFailed);
        ExpectNothingLeft();
    }

    ASSERT_EQ(Install(L""), kInstalled);
    const std::wstring              folder = FolderFor(kAll);
    const std::vector<std::wstring> files  = FilesBelow(folder);
    WriteContent(folder + L"\\tarvex-preview.exe", "of an older version");
    const CSnapshot older = Snapshot(kAll.mRoot);
    {
        const CReadOnlyKey key(type.mRoot, type.mKey, type.ViewFlag());
        EXPECT_EQ(Install(L"/EXT=.abc,.zzz"), kFailed) << "an update";
    }
    EXPECT_EQ(Differences(older, Snapshot(kAll.mRoot)), "");
    EXPECT_EQ(FilesBelow(folder), files);
    EXPECT_EQ(Content(folder + L"\\tarvex-preview.exe"), "of an older version");

    // Where a file is to be, something else is.
    const std::wstring inTheWay = folder + L"\\x86\\TarvexShellExt.dll.new";
    CreateDirectoryW(inTheWay.c_str(), nullptr);
    EXPECT_EQ(Install(L""), kFailed);
    RemoveDirectoryW(inTheWay.c_str());
    EXPECT_EQ(FilesBelow(folder), files);
    EXPECT_EQ(Content(folder + L"\\tarvex-preview.exe"), "of an older version");
    Uninstall();
    ExpectNothingLeft();
    RemoveKey(type);
}

TEST_F(Installer, LeavesFilesOfOthersInItsFolderAlone) {
    const std::wstring folder = mFolder + L"\\tools";
    CreateDirectoryW(folder.c_str(), nullptr);
    WriteContent(folder + L"\\settings.old", "kept");
    for (int round = 0; round < 2; ++round)
        ASSERT_EQ(Install(L"/D=" + folder), kInstalled);
    EXPECT_TRUE(Exists(folder + L"\\settings.old"));
    ASSERT_EQ(RunProgram(Text(OwnValue(kAll, L"QuietUninstallString"))), 0u);
    for (int i = 0; i < 200 && Exists(folder + L"\\uninstall.exe"); ++i)
        Sleep(50);
    EXPECT_EQ(FilesBelow(folder), std::vector<std::wstring>{L"settings.old"});
    DeleteFileW((folder + L"\\settings.old").c_str());
    RemoveDirectoryW(folder.c_str());
    ExpectNothingLeft();
}

}  // namespace
