#include "shellext/com_support.h"

#include <gtest/gtest.h>

namespace {

constexpr wchar_t kNothingFound[] = L"Type: Unknown\nDesign preview information not found.\n";

TEST(InterfaceMap, AnswersForItsInterfacesAndRefusesTheRest) {
    const CObject object;
    const struct {
        const char* mName;
        IID         mId;
        IUnknown*   mExpected;
    } rows[] = {
        {"IExtractImage2", IID_IExtractImage2, object.mImage.get()},
        {"IExtractImage", IID_IExtractImage, object.mImage.get()},
        {"IPersistFile", IID_IPersistFile, object.mFile.get()},
        {"IQueryInfo", IID_IQueryInfo, object.mTip.get()},
        {"IUnknown", IID_IUnknown, object.mImage.get()},  // through the first row of the map
        {"IPersist", IID_IPersist, nullptr},
        {"IClassFactory", IID_IClassFactory, nullptr},
        {"IDispatch", IID_IDispatch, nullptr},
        {"IMarshal", IID_IMarshal, nullptr},
        {"IShellFolder", IID_IShellFolder, nullptr},
        {"GUID_NULL", GUID_NULL, nullptr},
    };
    IUnknown* const doors[] = {object.mFile.get(), object.mTip.get(), object.mImage.get()};
    for (const auto& row : rows)
        for (IUnknown* door : doors) {
            SCOPED_TRACE(row.mName);
            void*         out    = &out;
            const HRESULT result = door->QueryInterface(row.mId, &out);
            EXPECT_EQ(result, row.mExpected != nullptr ? S_OK : E_NOINTERFACE);
            EXPECT_EQ(out, row.mExpected);
            if (SUCCEEDED(result)) door->Release();
        }
    EXPECT_EQ(object.mFile->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(object.mFile->AddRef(), 4u);
    EXPECT_EQ(object.mTip->Release(), 3u) << "one count for all interfaces";
}

TEST(Operations, ThatAreNotThereSaySo) {
    const CObject object(L"C:\\some.tarvex");
    CLSID         id    = {};
    LPOLESTR      name  = nullptr;
    DWORD         flags = 7;
    EXPECT_EQ(object.mFile->GetClassID(&id), E_NOTIMPL);
    EXPECT_EQ(object.mFile->IsDirty(), E_NOTIMPL);
    EXPECT_EQ(object.mFile->Save(L"C:\\other.tarvex", TRUE), E_NOTIMPL);
    EXPECT_EQ(object.mFile->SaveCompleted(L"C:\\other.tarvex"), E_NOTIMPL);
    EXPECT_EQ(object.mFile->GetCurFile(&name), E_NOTIMPL);
    EXPECT_EQ(object.mTip->GetInfoFlags(&flags), E_NOTIMPL);
    EXPECT_EQ(flags, 7u);
}

TEST(Operations, RefuseNullPointers) {
    const CTestFile file(Project(Design("Antenna1", "")));
    const CObject   object(file.Path());
    DWORD           flags = IEIFLAG_ASYNC, priority = 0;
    SIZE            size = {96, 96};
    wchar_t         path[MAX_PATH];
    EXPECT_EQ(object.mFile->Load(nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(object.mTip->GetInfoTip(0, nullptr), E_POINTER);
    EXPECT_EQ(object.mImage->Extract(nullptr), E_POINTER);
    EXPECT_EQ(object.mImage->GetDateStamp(nullptr), E_POINTER);
    EXPECT_EQ(object.mImage->GetLocation(path, MAX_PATH, &priority, &size, 32, nullptr), E_POINTER);
    EXPECT_EQ(object.mImage->GetLocation(path, MAX_PATH, nullptr, &size, 32, &flags), E_POINTER);
    EXPECT_EQ(flags, static_cast<DWORD>(IEIFLAG_ASYNC));
    EXPECT_EQ(object.Tip().substr(0, 12), L"Type: Tarvex") << "the path is still the loaded one";
}

TEST(GetLocation, AsksForTheBackgroundWhenTheShellCan) {
    const struct {
        DWORD   mFlags;
        HRESULT mResult;
        DWORD   mFlagsOut, mPriorityOut;
    } rows[] = {
        {0, S_OK, 0x402, 99},
        {IEIFLAG_ASYNC, E_PENDING, 0x403, 0x10000000},
        {IEIFLAG_ASYNC | IEIFLAG_QUALITY, E_PENDING, 0x603, 0x10000000},
        {IEIFLAG_OFFLINE | IEIFLAG_ORIGSIZE | IEIFLAG_ASPECT, S_OK, 0x40A | IEIFLAG_ORIGSIZE | IEIFLAG_ASPECT,
         99},
        {0x402, S_OK, 0x402, 99},
    };
    const CObject object;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mFlags);
        wchar_t path[] = L"untouched";
        DWORD   flags = row.mFlags, priority = 99;
        SIZE    size = {256, 256};
        EXPECT_EQ(object.mImage->GetLocation(path, 10, &priority, &size, 24, &flags), row.mResult);
        EXPECT_EQ(flags, row.mFlagsOut);
        EXPECT_EQ(priority, row.mPriorityOut);
        EXPECT_STREQ(path, L"untouched");
    }
    DWORD flags = 0;
    EXPECT_EQ(object.mImage->GetLocation(nullptr, 0, nullptr, nullptr, 0, &flags), S_OK);
}

TEST(GetDateStamp, IsTheTimeOfTheLastWrite) {
    const CTestFile file("any content");
    const FILETIME  written = {0x12345600, 0x01CE0000}, accessed = {0, 0x01CF0000};
    const HANDLE    handle =
        CreateFileW(file.Path().c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    SetFileTime(handle, nullptr, &accessed, &written);
    CloseHandle(handle);
    FILETIME stamp = {1, 2};
    EXPECT_EQ(CObject(file.Path()).mImage->GetDateStamp(&stamp), S_OK);
    EXPECT_EQ(CompareFileTime(&stamp, &written), 0);

    stamp = {1, 2};
    EXPECT_EQ(CObject(file.Path() + L".missing").mImage->GetDateStamp(&stamp), E_FAIL);
    EXPECT_EQ(CObject().mImage->GetDateStamp(&stamp), E_FAIL);
    EXPECT_TRUE(stamp.dwLowDateTime == 1 && stamp.dwHighDateTime == 2) << "written although it failed";
}

TEST(InfoTip, TellsWhatTheFileHolds) {
    const std::string  thirty(30, 'n');
    const std::wstring wideThirty(30, L'n');
    const std::string  head = Project("").substr(0, Project("").find("$begin 'ProjectPreview'"));
    const std::wstring type = L"Type: Tarvex ZEPH 2013.0 File\n";
    const struct {
        std::string  mContent;
        std::wstring mTip;
    } rows[] = {
        {Project(Design("Antenna1", "first cut") + Design("Antenna2", "")),
         type + L"Project contains 2 design(s):\nDesign Name: Antenna1, Notes: first cut\nDesign Name: "
                L"Antenna2\n"},
        {Project(""), type + L"Project contains 0 design(s):\n"},
        // notes: thirty characters are shown whole, one more is not
        {Project(Design("A", thirty)),
         type + L"Project contains 1 design(s):\nDesign Name: A, Notes: " + wideThirty + L"\n"},
        {Project(Design("A", thirty + "x")),
         type + L"Project contains 1 design(s):\nDesign Name: A, Notes: " + wideThirty + L"...\n"},
        // names in the ANSI code page
        {Project(Design("Gr\xC3\xB6\xC3\x9F"
                        "e",
                        "\xE2\x82\xAC 5")),
         type + L"Project contains 1 design(s):\nDesign Name: Gr\u00F6\u00DFe, Notes: \u20AC 5\n"},
        // no preview, no project, nothing at all
        {head, type + L"Design preview information not found.\n"},
        {"just some text\n", kNothingFound},
        {"", kNothingFound},
        {Project(Design("A", "")).substr(head.size()),
         L"Type: Unknown\nProject contains 1 design(s):\nDesign Name: A\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mContent);
        const CTestFile file(row.mContent);
        EXPECT_EQ(CObject(file.Path()).Tip(), row.mTip + SizeLine(row.mContent.size()));
    }
}

TEST(InfoTip, BelongsToTheShellsAllocator) {
    const CObject object;
    IMalloc*      allocator = nullptr;
    ASSERT_EQ(SHGetMalloc(&allocator), S_OK);
    wchar_t* text = nullptr;
    ASSERT_EQ(object.mTip->GetInfoTip(0, &text), S_OK);
    EXPECT_EQ(allocator->DidAlloc(text), 1);
    EXPECT_STREQ(text, kNothingFound) << "nothing is loaded yet";
    allocator->Free(text);
    allocator->Release();
}

/// Lets every allocation from the shell's allocator fail while it is registered.
class CNoMemory final : public IMallocSpy {
  public:
    CNoMemory() { EXPECT_EQ(CoRegisterMallocSpy(this), S_OK); }
    ~CNoMemory() { EXPECT_EQ(CoRevokeMallocSpy(), S_OK); }

    STDMETHODIMP QueryInterface(REFIID, void** out) override {
        *out = this;
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T) override { return 0; }
    STDMETHODIMP_(void*) PostAlloc(void* block) override { return block; }
    STDMETHODIMP_(void*) PreFree(void* block, BOOL) override { return block; }
    STDMETHODIMP_(void) PostFree(BOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void* block, SIZE_T bytes, void** newBlock, BOOL) override {
        *newBlock = block;
        return bytes;
    }
    STDMETHODIMP_(void*) PostRealloc(void* block, BOOL) override { return block; }
    STDMETHODIMP_(void*) PreGetSize(void* block, BOOL) override { return block; }
    STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T bytes, BOOL) override { return bytes; }
    STDMETHODIMP_(void*) PreDidAlloc(void* block, BOOL) override { return block; }
    STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int known) override { return known; }
    STDMETHODIMP_(void) PreHeapMinimize() override {}
    STDMETHODIMP_(void) PostHeapMinimize() override {}
};

TEST(InfoTip, FailsWhenTheShellsAllocatorHasNoMemory) {
    const CObject object;
    wchar_t*      text   = const_cast<wchar_t*>(L"before");
    HRESULT       result = S_OK;
    {
        CNoMemory spy;
        result = object.mTip->GetInfoTip(0, &text);
    }
    EXPECT_EQ(result, E_OUTOFMEMORY);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(object.Tip(), kNothingFound) << "the next call has memory again";
}

TEST(InfoTip, IsReadInTheThreadsCodePage) {
    const CTestFile file(
        Project(Design("Gr\xC3\xB6\xC3\x9F"
                       "e",
                       "")));
    const CObject object(file.Path());
    const LCID    before = GetThreadLocale();
    SetThreadLocale(0x408);  // Greek
    const std::wstring greek = object.Tip();
    SetThreadLocale(before);
    EXPECT_NE(greek.find(L"Design Name: Gr\u03C6\u03AFe\n"), std::wstring::npos);
    EXPECT_NE(object.Tip().find(L"Design Name: Gr\u00F6\u00DFe\n"), std::wstring::npos);
}

TEST(InfoTip, IsOfTheFileLoadedLast) {
    const CTestFile first(Project(Design("First", "")), L"first.tarvex");
    const CTestFile second(Project(Design("Second", "")), L"second.tarvex");
    const CObject   object(first.Path());
    EXPECT_NE(object.Tip().find(L"First"), std::wstring::npos);
    EXPECT_EQ(object.mFile->Load(second.Path().c_str(), STGM_READWRITE), S_OK);
    EXPECT_NE(object.Tip().find(L"Second"), std::wstring::npos);
    EXPECT_EQ(object.mFile->Load((second.Path() + L"?").c_str(), 0), S_OK) << "the file is not opened yet";
    EXPECT_EQ(object.Tip(), kNothingFound);
}

TEST(InfoTip, DegradesWhereAFileCannotBeRead) {
    const std::string  content = Project(Design("A", ""));
    const CTestFile    plain(content, L"Gr\u00F6\u00DFe \u20AC.tarvex");
    const CTestFile    beyond(content, L"\u65E5\u672C.tarvex");
    const CTestFile    locked(content, L"locked.tarvex");
    const std::wstring missing = plain.Path() + L".missing";
    const HANDLE       lock    = CreateFileW(locked.Path().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                             OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(CObject(plain.Path()).Tip(),
              L"Type: Tarvex ZEPH 2013.0 File\nProject contains 1 design(s):\n"
              L"Design Name: A\n" +
                  SizeLine(content.size()));
    EXPECT_EQ(CObject(beyond.Path()).Tip(), kNothingFound) << "a name that the code page lacks";
    EXPECT_EQ(CObject(locked.Path()).Tip(), kNothingFound + SizeLine(content.size()));
    EXPECT_EQ(CObject(TestFolder()).Tip(), kNothingFound + SizeLine(0));
    EXPECT_EQ(CObject(missing).Tip(), kNothingFound);
    EXPECT_EQ(CObject(L"").Tip(), kNothingFound);
    EXPECT_EQ(CObject(L"C:\\no*such|name?").Tip(), kNothingFound);
    for (const std::wstring& path : {locked.Path(), beyond.Path(), TestFolder(), missing}) {
        const HBITMAP untouched = reinterpret_cast<HBITMAP>(INT_PTR{42});
        HBITMAP       bitmap    = untouched;
        EXPECT_EQ(CObject(path).mImage->Extract(&bitmap), E_FAIL);
        EXPECT_EQ(bitmap, untouched);
    }
    CloseHandle(lock);
}

TEST(InfoTip, ComesForPathsOfAnyLength) {
    for (std::size_t length : {259u, 260u, 261u, 1000u, 32767u, 200000u}) {
        const std::wstring path = L"C:\\" + std::wstring(length - 3, L'x');
        EXPECT_EQ(CObject(path).Tip(), kNothingFound) << length;
    }
}

}  // namespace
