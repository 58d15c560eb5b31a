#include "shellext/com_support.h"

#include <gtest/gtest.h>

namespace {

HMODULE LoadedServer() {
    return GetModuleHandleW(L"TarvexShellExt.dll");
}

template <class Export>
Export ExportOf(HMODULE dll, const char* name) {
    return reinterpret_cast<Export>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
}

/// The DLL, loaded by hand; it must be unlocked at the end of each test.
class Module : public testing::Test {
  protected:
    void SetUp() override {
        mDll = LoadLibraryW(DllPath().c_str());
        ASSERT_NE(mDll, nullptr);
        mGetClassObject = ExportOf<decltype(mGetClassObject)>(mDll, "DllGetClassObject");
        mCanUnloadNow   = ExportOf<decltype(mCanUnloadNow)>(mDll, "DllCanUnloadNow");
        ASSERT_EQ(mCanUnloadNow(), S_OK);
    }
    void TearDown() override {
        EXPECT_EQ(mCanUnloadNow(), S_OK);
        FreeLibrary(mDll);
    }

    CComRef<IClassFactory> Factory() const {
        void* out = nullptr;
        EXPECT_EQ(mGetClassObject(kClassId, IID_IClassFactory, &out), S_OK);
        return CComRef<IClassFactory>(static_cast<IClassFactory*>(out));
    }

    HMODULE mDll                                                       = nullptr;
    HRESULT(STDAPICALLTYPE* mGetClassObject)(REFCLSID, REFIID, void**) = nullptr;
    HRESULT(STDAPICALLTYPE* mCanUnloadNow)()                           = nullptr;
};

TEST_F(Module, GivesOneFactoryForItsClassOnly) {
    const struct {
        CLSID   mClass;
        IID     mInterface;
        HRESULT mResult;
    } rows[] = {
        {kClassId, IID_IClassFactory, S_OK},
        {kClassId, IID_IUnknown, S_OK},
        {kClassId, IID_IQueryInfo, E_NOINTERFACE},
        {IID_IQueryInfo, IID_IClassFactory, CLASS_E_CLASSNOTAVAILABLE},
        {GUID_NULL, IID_IUnknown, CLASS_E_CLASSNOTAVAILABLE},
    };
    const CComRef<IClassFactory> factory = Factory();
    for (const auto& row : rows) {
        void* out = &out;
        EXPECT_EQ(mGetClassObject(row.mClass, row.mInterface, &out), row.mResult);
        EXPECT_EQ(out, row.mResult == S_OK ? factory.get() : nullptr);
        if (row.mResult == S_OK) static_cast<IUnknown*>(out)->Release();
    }
    EXPECT_EQ(mGetClassObject(kClassId, IID_IClassFactory, nullptr), E_POINTER);
}

TEST_F(Module, IsHeldByTheFactoryItsObjectsAndLocks) {
    CComRef<IClassFactory> factory = Factory();
    EXPECT_EQ(mCanUnloadNow(), S_FALSE) << "a factory is held";
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    void* out = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPersistFile, &out), S_OK);
    CComRef<IPersistFile> object(static_cast<IPersistFile*>(out));

    factory.reset();
    EXPECT_EQ(mCanUnloadNow(), S_FALSE) << "a lock and an object are left";
    EXPECT_EQ(Factory()->LockServer(FALSE), S_OK);
    EXPECT_EQ(mCanUnloadNow(), S_FALSE) << "an object is left";
    CComRef<IQueryInfo> second = Query<IQueryInfo>(object.get(), IID_IQueryInfo);
    object.reset();
    EXPECT_EQ(mCanUnloadNow(), S_FALSE) << "the object has a second reference";
    second.reset();
}

TEST_F(Module, RefusesWhatItCannotCreate) {
    const CComRef<IClassFactory> factory = Factory();
    void*                        out     = &out;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPersist, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    out = &out;
    const CObject outer;
    EXPECT_EQ(factory->CreateInstance(outer.mFile.get(), IID_IUnknown, &out), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(factory->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

/// @return how many objects could not be created
DWORD WINAPI CreateAndRelease(void* factory) {
    auto* const shared   = static_cast<IClassFactory*>(factory);
    DWORD       failures = 0;
    for (int round = 0; round < 200000; ++round) {
        shared->AddRef();
        shared->LockServer(TRUE);
        if (round % 100 == 0) {
            void* object = nullptr;
            if (shared->CreateInstance(nullptr, IID_IUnknown, &object) != S_OK) ++failures;
            if (object != nullptr) static_cast<IUnknown*>(object)->Release();
        }
        shared->LockServer(FALSE);
        shared->Release();
    }
    return failures;
}

TEST_F(Module, CountsRightWithManyThreads) {
    CComRef<IClassFactory> factory = Factory();
    HANDLE                 threads[4];
    for (HANDLE& thread : threads)
        thread = CreateThread(nullptr, 0, CreateAndRelease, factory.get(), 0, nullptr);
    WaitForMultipleObjects(4, threads, TRUE, INFINITE);
    for (const HANDLE thread : threads) {
        DWORD failures = 1;
        GetExitCodeThread(thread, &failures);
        EXPECT_EQ(failures, 0u);
        CloseHandle(thread);
    }
    EXPECT_EQ(mCanUnloadNow(), S_FALSE);
    factory.reset();
}

TEST(Server, IsUnloadedWhenItsLastObjectIsGone) {
    CoFreeUnusedLibrariesEx(0, 0);
    ASSERT_EQ(LoadedServer(), nullptr);
    const CTestFile file(Project(Design("Antenna1", "first cut")));
    for (int round = 0; round < 20; ++round) {
        {
            const CObject object(file.Path());
            object.Tip();
            HBITMAP bitmap = nullptr;
            EXPECT_EQ(object.mImage->Extract(&bitmap), E_FAIL);
            CoFreeUnusedLibrariesEx(0, 0);
            ASSERT_NE(LoadedServer(), nullptr) << "unloaded under a live object";
        }
        CoFreeUnusedLibrariesEx(0, 0);
        ASSERT_EQ(LoadedServer(), nullptr) << "round " << round;
    }
}

DWORD WINAPI UseAndSleep(void* context) {
    const auto* events = static_cast<const HANDLE*>(context);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CObject(L"Z:\\nowhere.tarvex").Tip();
    CoFreeUnusedLibrariesEx(0, 0);
    CoUninitialize();
    SetEvent(events[0]);
    WaitForSingleObject(events[1], INFINITE);
    return 0;
}

/// A thread that used the server may end long after the server has been unloaded.
TEST(Server, MayBeUnloadedBeforeItsThreadsEnd) {
    const HANDLE events[] = {CreateEventW(nullptr, FALSE, FALSE, nullptr),
                             CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    const HANDLE thread   = CreateThread(nullptr, 0, UseAndSleep, const_cast<HANDLE*>(events), 0, nullptr);
    WaitForSingleObject(events[0], INFINITE);
    EXPECT_EQ(LoadedServer(), nullptr);
    SetEvent(events[1]);
    EXPECT_EQ(WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
    for (const HANDLE handle : {thread, events[0], events[1]})
        CloseHandle(handle);
}

}  // namespace
