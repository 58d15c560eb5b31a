#include "shellext/com_support.h"

#include <gtest/gtest.h>

#include <float.h>
#include <malloc.h>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <functional>

// What hosts do that they should not, or that nobody thinks of. Each case runs in a process of its own,
// which is ended when it does not end: a crash or a hang is told by the name of its case.

namespace {

constexpr int kSurvived = 42;  // the exit code of a case that came to its end; nothing else ends with it

constexpr wchar_t kNothingFound[] = L"Type: Unknown\nDesign preview information not found.\n";
constexpr char    kGif[] = "R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw==";

std::string Picture() {
    return std::string("\tThumbnail64='") + kGif + "'\n";
}

[[noreturn]] void EndCase() {
    RemoveDirectoryW(TestFolder().c_str());
    std::exit(testing::Test::HasFailure() ? 1 : kSurvived);
}

HRESULT ExtractAndDrop(const CObject& object) {
    HBITMAP       bitmap = nullptr;
    const HRESULT result = object.mImage->Extract(&bitmap);
    EXPECT_EQ(bitmap != nullptr, result == S_OK);
    if (bitmap != nullptr) DeleteObject(bitmap);
    return result;
}

void CallBeforeLoad() {
    const CObject object;
    FILETIME      stamp;
    DWORD         flags = 0;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(object.Tip(), kNothingFound);
        EXPECT_EQ(ExtractAndDrop(object), E_FAIL);
        EXPECT_EQ(object.mImage->GetDateStamp(&stamp), E_FAIL);
        EXPECT_EQ(object.mImage->GetLocation(nullptr, 0, nullptr, nullptr, 0, &flags), S_OK);
        EXPECT_EQ(object.mImage->Extract(nullptr), E_POINTER);
        EXPECT_EQ(object.mTip->GetInfoTip(0xFFFFFFFF, nullptr), E_POINTER);
        EXPECT_EQ(object.mFile->Load(nullptr, 0xFFFFFFFF), E_INVALIDARG);
    }
}

void LoadTwiceAndFailingLoads() {
    const CTestFile with(Project(Picture()), L"with.tarvex"),
        without(Project(Design("B", "")), L"without.tarvex");
    const CObject object(with.Path());
    EXPECT_EQ(ExtractAndDrop(object), S_OK);
    EXPECT_EQ(object.mFile->Load(without.Path().c_str(), 0xFFFFFFFF), S_OK);
    EXPECT_EQ(ExtractAndDrop(object), E_FAIL);
    EXPECT_EQ(object.mFile->Load(nullptr, 0), E_INVALIDARG);
    EXPECT_NE(object.Tip().find(L"Design Name: B"), std::wstring::npos);
    EXPECT_EQ(object.mFile->Load(with.Path().c_str(), 0), S_OK);
    EXPECT_EQ(ExtractAndDrop(object), S_OK);
}

void ReleaseInEveryOrder() {
    const CTestFile file(Project(Picture()));
    int             order[] = {0, 1, 2};
    do {
        CObject object(file.Path());
        for (const int next : order) {
            EXPECT_TRUE(!object.mTip || object.Tip().starts_with(L"Type: "));
            EXPECT_TRUE(!object.mImage || ExtractAndDrop(object) == S_OK);
            if (next == 0) object.mFile.reset();
            if (next == 1) object.mTip.reset();
            if (next == 2) object.mImage.reset();
        }
    } while (std::next_permutation(std::begin(order), std::end(order)));
}

/// A path buffer at the very end of a page, behind which nothing may be written; all else as the stack left
/// it.
void GetLocationIntoNothing() {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    auto* const pages = static_cast<char*>(
        VirtualAlloc(nullptr, 2 * system.dwPageSize, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD before = 0;
    ASSERT_TRUE(VirtualProtect(pages + system.dwPageSize, system.dwPageSize, PAGE_NOACCESS, &before));
    auto* const     end = reinterpret_cast<wchar_t*>(pages + system.dwPageSize);
    const CTestFile file(Project(Picture()));
    const CObject   object(file.Path());
    const SIZE      sizes[] = {{96, 96}, {32, 32}, {0, 0}, {-1, -1}, {0x7FFFFFFF, 0x7FFFFFFF}};
    for (const SIZE& size : sizes)
        for (const DWORD room : {0u, 1u, 260u, 0xFFFFFFFFu})
            for (const DWORD given : {0u, 0x1u, 0xCDCDCDCDu, 0xFFFFFFFFu}) {
                DWORD flags = given, priority = 0xCDCDCDCD;
                EXPECT_EQ(object.mImage->GetLocation(end - 1, room, &priority, &size, given, &flags),
                          (given & IEIFLAG_ASYNC) != 0 ? E_PENDING : S_OK);
                EXPECT_EQ(flags, given | IEIFLAG_CACHE | IEIFLAG_REFRESH);
                EXPECT_EQ(priority, (given & IEIFLAG_ASYNC) != 0 ? IEIT_PRIORITY_NORMAL : 0xCDCDCDCD);
            }
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ(ExtractAndDrop(object), S_OK);
    VirtualFree(pages, 0, MEM_RELEASE);
}

/// Some languages' run times have floating-point exceptions raised.
void UnmaskedFloatingPoint() {
    const CTestFile file(
        Project("\ta=1e999\n\tb=-1e-999\n\tc=0x1ffffffff\n\td=0.1\n\te=1e300\n\tf(#inf, #nan, 1e39)\n"
                "\tv[1.5: 1]\n\tw[1e300: 1]\n\t$begin 'DesignInfo'\n\t\tDesignName='A'\n"
                "\t\tNotes='n'\n\t\t'Paramorph Setups'['p']\n\t\t'Paramorph Experiment Types'[1e300]\n"
                "\t$end 'DesignInfo'\n" +
                Picture()));
    const CObject object(file.Path());
    _clearfp();
    const unsigned     unmasked = _EM_INVALID | _EM_ZERODIVIDE | _EM_OVERFLOW;
    const unsigned     before   = _controlfp(_controlfp(0, 0) & ~unmasked, _MCW_EM);
    const std::wstring tip      = object.Tip();
    const HRESULT      result   = ExtractAndDrop(object);
    EXPECT_EQ(_controlfp(0, 0) & _MCW_EM, before & _MCW_EM & ~unmasked) << "the host's own again";
    _clearfp();
    _controlfp(_MCW_EM, _MCW_EM);
    EXPECT_NE(tip.find(L"Design Name: A, Notes: n"), std::wstring::npos);
    EXPECT_EQ(result, S_OK);
}

void LocaleOfTheHost() {
    const CTestFile    file(Project("\ta=0.5\n" + Design("A", "n") + Picture()));
    const CObject      object(file.Path());
    const std::wstring before = object.Tip();
    for (const char* name : {"German", "Japanese_Japan.932", ""})
        if (std::setlocale(LC_ALL, name) != nullptr) {
            EXPECT_EQ(object.Tip(), before) << name;
            EXPECT_EQ(ExtractAndDrop(object), S_OK);
        }
}

// --- threads

using CBody = std::function<void()>;

DWORD WINAPI RunBody(void* body) {
    (*static_cast<const CBody*>(body))();
    return 0;
}

/// @param body  has to live as long as the thread.
HANDLE StartThread(CBody& body) {
    return CreateThread(nullptr, 0, RunBody, &body, 0, nullptr);
}

/// Runs a body on so many threads at once, each with an apartment.
void RunThreads(int count, const std::function<void(int)>& body) {
    std::vector<CBody>  bodies;
    std::vector<HANDLE> threads;
    for (int index = 0; index < count; ++index)
        bodies.push_back([&body, index] {
            CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
            body(index);
            CoUninitialize();
        });
    for (CBody& own : bodies)
        threads.push_back(StartThread(own));
    WaitForMultipleObjects(static_cast<DWORD>(threads.size()), threads.data(), TRUE, INFINITE);
    for (const HANDLE thread : threads)
        CloseHandle(thread);
}

void EightApartments() {
    constexpr int                           kThreads = 8;
    std::vector<std::unique_ptr<CTestFile>> files;
    std::wstring                            expected[kThreads];
    volatile LONG                           wrong = 0;
    for (int index = 0; index < kThreads; ++index) {
        const std::string name = std::to_string(index);
        files.push_back(
            std::make_unique<CTestFile>(Project(Design("Design" + name, name) + "\tf(1, x[2])\n" + Picture()),
                                        L"apartment" + std::to_wstring(index) + L".tarvex"));
        expected[index] = CObject(files.back()->Path()).Tip();
    }
    RunThreads(kThreads, [&](int index) {
        const CObject object(files[static_cast<std::size_t>(index)]->Path());
        for (int round = 0; round < 50; ++round)
            if (object.Tip() != expected[index] || ExtractAndDrop(object) != S_OK)
                InterlockedIncrement(&wrong);
    });
    EXPECT_EQ(wrong, 0);
}

/// Calls with so much stack left, whatever the system gives a thread at least.
template <class Body>
void CallWithStackLeft(std::size_t left, Body body) {
    MEMORY_BASIC_INFORMATION stack = {};
    VirtualQuery(&stack, &stack, sizeof stack);
    const auto whole =
        static_cast<std::size_t>(reinterpret_cast<char*>(&stack) - static_cast<char*>(stack.AllocationBase));
    ASSERT_GT(whole, left);
    auto* const taken = static_cast<volatile char*>(_alloca(whole - left));
    taken[0]          = 1;
    body();
    taken[0] = 2;  // so that it is there all the time
}

/// The deepest nesting that is read, and pictures, on the stack of a small thread.
void SmallStacks() {
    constexpr std::size_t kStack = 256 * 1024;
    std::string           blocks, functions;
    for (int level = 0; level < 300; ++level) {
        blocks += "$begin 'B' x=1\n";  // no line that is read in place
        functions += "f(a, ";
    }
    const CTestFile deepBlocks(Project(blocks), L"blocks.tarvex");
    const CTestFile deepFunctions(Project(functions), L"functions.tarvex");
    const CTestFile picture(Project(Picture()), L"picture.tarvex");
    for (const CTestFile* file : {&deepBlocks, &deepFunctions, &picture}) {
        const CObject object(file->Path());
        object.Tip();  // the system's own first calls take more
        const HRESULT expected = ExtractAndDrop(object);
        EXPECT_EQ(expected, file == &picture ? S_OK : E_FAIL);
        CallWithStackLeft(kStack, [&] {
            EXPECT_EQ(object.Tip().substr(0, 12), L"Type: Tarvex");
            EXPECT_EQ(ExtractAndDrop(object), expected);
        });
    }
}

// --- a DLL without COM around it

using CanUnload      = HRESULT(STDAPICALLTYPE*)();
using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

template <class Export>
Export ExportOf(HMODULE dll, const char* name) {
    return reinterpret_cast<Export>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
}

/// A tip by an object of a DLL that was loaded by hand; no apartment is needed for that.
void UseByHand(HMODULE dll, const std::wstring& path) {
    void* out = nullptr;
    ASSERT_EQ(ExportOf<GetClassObject>(dll, "DllGetClassObject")(kClassId, IID_IClassFactory, &out), S_OK);
    CComRef<IClassFactory> factory(static_cast<IClassFactory*>(out));
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IPersistFile, &out), S_OK);
    const CComRef<IPersistFile> file(static_cast<IPersistFile*>(out));
    factory.reset();
    EXPECT_EQ(file->Load(path.c_str(), 0), S_OK);
    wchar_t*                  text = nullptr;
    const CComRef<IQueryInfo> tip  = Query<IQueryInfo>(file.get(), IID_IQueryInfo);
    EXPECT_EQ(tip->GetInfoTip(0, &text), S_OK);
    CoTaskMemFree(text);
    const CComRef<IExtractImage> image  = Query<IExtractImage>(file.get(), IID_IExtractImage);
    HBITMAP                      bitmap = nullptr;
    EXPECT_EQ(image->Extract(&bitmap), S_OK);
    DeleteObject(bitmap);
}

void LoadedAndFreedAgainAndAgain() {
    const CTestFile file(Project(Design("A", "n") + Picture()));
    for (int round = 0; round < 30; ++round) {
        const HMODULE dll = LoadLibraryW(DllPath().c_str());
        ASSERT_NE(dll, nullptr);
        if (round % 3 != 0) UseByHand(dll, file.Path());
        EXPECT_EQ(ExportOf<CanUnload>(dll, "DllCanUnloadNow")(), S_OK);
        FreeLibrary(dll);
        ASSERT_EQ(GetModuleHandleW(L"TarvexShellExt.dll"), nullptr);
    }
}

/// Threads that have used the DLL end after it has gone; what it kept for them must not be touched then.
void FreedBeforeItsThreadsEnd() {
    const CTestFile file(Project(Design("A", "n") + Picture()));
    const HMODULE   dll   = LoadLibraryW(DllPath().c_str());
    const HANDLE    freed = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    volatile LONG   used  = 0;
    RunThreads(8, [&](int) {
        UseByHand(dll, file.Path());
        if (InterlockedIncrement(&used) == 8) {
            FreeLibrary(dll);
            EXPECT_EQ(GetModuleHandleW(L"TarvexShellExt.dll"), nullptr);
            SetEvent(freed);
        }
        WaitForSingleObject(freed, INFINITE);
    });
    CloseHandle(freed);
}

/// On a thread that has no apartment, also with an object that was made on another one.
void WithoutAnApartment() {
    const CTestFile file(Project(Design("A", "n") + Picture()));
    const HMODULE   dll = LoadLibraryW(DllPath().c_str());
    const CObject   object(file.Path());
    CBody           body = [&] {
        UseByHand(dll, file.Path());
        EXPECT_EQ(object.Tip().substr(0, 12), L"Type: Tarvex");
        EXPECT_EQ(ExtractAndDrop(object), S_OK);
    };
    const HANDLE thread = StartThread(body);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}

// --- the end of the process: these do not return

void EndsWithObjectsAlive() {
    const CTestFile* file   = new CTestFile(Project(Picture()));
    const auto*      object = new CObject(file->Path());
    object->Tip();
    ExtractAndDrop(*object);
    DeleteFileW(file->Path().c_str());
    EndCase();
}

void EndsAmidCalls() {
    const CTestFile* file = new CTestFile(Project(Design("A", "n") + Picture()));
    static CBody     body = [path = file->Path()] {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        for (const CObject object(path);;) {
            object.Tip();
            ExtractAndDrop(object);
        }
    };
    for (int index = 0; index < 4; ++index)
        CloseHandle(StartThread(body));
    Sleep(200);
    DeleteFileW(file->Path().c_str());
    EndCase();
}

void ReportsThatGoNowhere() {
    SetEnvironmentVariableW(L"TARVEX_IO_DIAGNOSTICS", L"2");
    SetEnvironmentVariableW(L"TARVEX_DEBUG_LOG", L"C:\\no such folder\\no*name?\\log.txt");
    const CTestFile file(Project(Design("A", "n") + Picture()));
    const CObject   object(file.Path());
    EXPECT_NE(object.Tip().find(L"Design Name: A, Notes: n"), std::wstring::npos);
    EXPECT_EQ(ExtractAndDrop(object), S_OK);
    EXPECT_EQ(CObject(L"C:\\nowhere.tarvex").Tip(), kNothingFound);
}

// --- names

void NamesOfWhatIsNoFile() {
    const std::wstring names[] = {
        L"NUL",
        L"CON",
        L"COM1",
        L"PRN",
        L"nul.tarvex",
        L"C:\\NUL",
        L"\\\\.\\NUL",
        L"\\\\.\\PhysicalDrive0",
        L"\\\\.\\C:",
        L"\\\\.\\pipe\\nobody",
        L"\\\\?\\C:\\",
        L"\\\\?\\",
        L"\\\\",
        L"\\",
        L"C:",
        L"C:\\",
        L".",
        L"..",
        L"*",
        L"?",
        L"C:\\*.tarvex",
        L"a\tb\nc\r",
        L" ",
        L"file:///C:/x",
        L"C:\\x:stream:$DATA",
        L"C:\\x\\..\\..\\..\\..",
        std::wstring(1, L'\xD800'),
        std::wstring(1, L'\xFFFF'),
        L"%s%n%d",
        std::wstring(32000, L'\\'),
        L"\\\\?\\C:\\" + std::wstring(32000, L'x'),
        L"C:\\" + std::wstring(250, L'x') + L".tarvex",
    };
    for (const std::wstring& name : names) {
        const CObject object(name);
        EXPECT_EQ(object.Tip().substr(0, std::size(kNothingFound) - 1), kNothingFound) << name.substr(0, 50);
        EXPECT_EQ(ExtractAndDrop(object), E_FAIL) << name.substr(0, 50);
    }
    const HANDLE pipe =
        CreateNamedPipeW(L"\\\\.\\pipe\\tarvex-test", PIPE_ACCESS_DUPLEX, 0, 1, 16, 16, 0, nullptr);
    ASSERT_NE(pipe, INVALID_HANDLE_VALUE);  // a pipe whose other end never writes
    EXPECT_EQ(CObject(L"\\\\.\\pipe\\tarvex-test").Tip().substr(0, std::size(kNothingFound) - 1),
              kNothingFound);
    CloseHandle(pipe);
}

void NamesOfEveryCharacter() {
    const std::string content = Project(Design("A", "n"));
    int               made    = 0;
    for (unsigned unit = 1; unit < 0x180; ++unit) {
        const std::wstring path = TestFolder() + L"\\x" + static_cast<wchar_t>(unit) + L"y.tarvex";
        const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE) continue;  // no name may have it
        ++made;
        DWORD written = 0;
        WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
        CloseHandle(file);
        const std::wstring tip   = CObject(path).Tip();
        const bool         found = tip.find(L"Design Name: A") != std::wstring::npos;
        // Those that the ANSI code page lacks are not found.
        EXPECT_TRUE(found || (unit >= 0x80 && tip == kNothingFound)) << unit;
        DeleteFileW(path.c_str());
    }
    EXPECT_GT(made, 200);
}

const struct CCase {
    const char* mName;
    void (*mBody)();
} kCases[] = {
    {"calls before Load", CallBeforeLoad},
    {"Load twice, and Load that fails", LoadTwiceAndFailingLoads},
    {"releases in every order", ReleaseInEveryOrder},
    {"GetLocation into nothing", GetLocationIntoNothing},
    {"floating-point exceptions unmasked", UnmaskedFloatingPoint},
    {"a locale of the host's", LocaleOfTheHost},
    {"eight apartments", EightApartments},
    {"small stacks", SmallStacks},
    {"loaded and freed again and again", LoadedAndFreedAgainAndAgain},
    {"freed before its threads end", FreedBeforeItsThreadsEnd},
    {"without an apartment", WithoutAnApartment},
    {"end of the process with objects alive", EndsWithObjectsAlive},
    {"end of the process amid calls", EndsAmidCalls},
    {"reports that go nowhere", ReportsThatGoNowhere},
    {"names of what is no file", NamesOfWhatIsNoFile},
    {"names of every character", NamesOfEveryCharacter},
};

/// Runs a case in a process of its own. @return its exit code, or WAIT_TIMEOUT when it had to be ended.
DWORD RunInChild(int number) {
    constexpr DWORD kPatience         = 60'000;  // milliseconds; the longest case takes a few seconds
    wchar_t         program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring command =
        std::wstring(L"\"") + program + L"\" --gtest_filter=HostileCaller.* --gtest_brief=1";
    SetEnvironmentVariableW(kCaseVariable, std::to_wstring(number).c_str());
    SetEnvironmentVariableW(L"GTEST_OUTPUT", nullptr);  // the report is the parent's
    STARTUPINFOW        startup = {};
    PROCESS_INFORMATION process = {};
    startup.cb                  = sizeof startup;
    const BOOL started = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                        &startup, &process);
    SetEnvironmentVariableW(kCaseVariable, nullptr);
    if (!started) return GetLastError();
    DWORD code = WaitForSingleObject(process.hProcess, kPatience);
    if (code == WAIT_OBJECT_0) {
        GetExitCodeProcess(process.hProcess, &code);
    } else {
        TerminateProcess(process.hProcess, code);
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

TEST(HostileCaller, IsSurvived) {
    wchar_t own[16] = {};
    if (GetEnvironmentVariableW(kCaseVariable, own, 16) != 0) {
        kCases[_wtoi(own)].mBody();
        EndCase();
    }
    for (int number = 0; number < static_cast<int>(std::size(kCases)); ++number) {
        std::printf("case: %s\n", kCases[number].mName);
        std::fflush(stdout);
        const ULONGLONG start = GetTickCount64();
        EXPECT_EQ(RunInChild(number), DWORD{kSurvived}) << kCases[number].mName;
        std::printf("      %u ms\n", static_cast<unsigned>(GetTickCount64() - start));
    }
}

}  // namespace
