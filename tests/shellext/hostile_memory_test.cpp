#include "shellext/ShellExtObj.h"
#include "viewkit/failing_allocations.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

// The server's object, linked here with a `new` that fails: whatever allocation of a call it is, the caller
// gets a code, and the same object gives the whole answer afterwards.

extern "C" {
const CLSID CLSID_TarvexShellExtObj = {
    0x05DE8458, 0x5BB6, 0x444E, {0xB9, 0x69, 0x38, 0x83, 0x01, 0x22, 0xD2, 0xD5}};
}

namespace {

using test_support::CFailingAllocations;

struct CTestModule final : CAtlModule {
    CTestModule() noexcept : CAtlModule({}) {}
};
CTestModule gModule;

struct CReleaser {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface>
using CComRef = std::unique_ptr<Interface, CReleaser>;

std::wstring WriteProject() {
    const auto path = std::filesystem::temp_directory_path() / "tarvex-memory-test-of-a-long-name.tarvex";
    std::ofstream(path, std::ios::binary)
        << "\tProduct='a product of a long name'\n$begin 'Desktop'\nVersion(2013, 0)\n$begin "
           "'ProjectPreview'\n"
           "f(1, 'what no line reader knows', g()) x=1\n$begin 'DesignInfo'\nDesignName='A design of a long "
           "name'\n"
           "Notes='notes that are longer than thirty characters'\n$end 'DesignInfo'\n"
           "Thumbnail64='R0lGODlhBAACAJEAAP8AAADIZBAgQP///yH5BAEAAAMALAAAAAAEAAIAAAIFRKhxYlAAOw=='\n"
           "$end 'ProjectPreview'\n";
    return path.wstring();
}

/// A call's outcome; only a success gives something.
struct COutcome {
    HRESULT      mResult = S_OK;
    std::wstring mText;
};

template <class Call>
COutcome Tip(IUnknown* object, Call call) {
    void* out = nullptr;
    object->QueryInterface(IID_IQueryInfo, &out);
    const CComRef<IQueryInfo> tip(static_cast<IQueryInfo*>(out));
    wchar_t*                  text   = nullptr;
    const HRESULT             result = call([&] { return tip->GetInfoTip(0, &text); });
    EXPECT_EQ(text != nullptr, result == S_OK);
    COutcome outcome{result, text != nullptr ? text : L""};
    CoTaskMemFree(text);
    return outcome;
}

template <class Call>
COutcome Thumbnail(IUnknown* object, Call call) {
    void* out = nullptr;
    object->QueryInterface(IID_IExtractImage, &out);
    const CComRef<IExtractImage> image(static_cast<IExtractImage*>(out));
    HBITMAP                      bitmap = nullptr;
    const HRESULT                result = call([&] { return image->Extract(&bitmap); });
    EXPECT_EQ(bitmap != nullptr, result == S_OK);
    if (bitmap != nullptr) DeleteObject(bitmap);
    return {result, {}};
}

/// Makes a call again and again, each time with another allocation failing, and tells how often it failed.
template <class Ask>
int FailEach(const char* name, Ask ask, HRESULT alsoAllowed) {
    const auto     inPeace  = [](auto call) { return call(); };
    const COutcome whole    = ask(inPeace);
    int            failures = 0;
    EXPECT_EQ(whole.mResult, S_OK) << name;
    const std::size_t live = test_support::LiveAllocations();
    for (std::size_t n = 0;; ++n) {
        bool    failed = false;
        HRESULT result = S_OK;
        {
            const COutcome outcome = ask([&](auto call) {
                const CFailingAllocations failing(n, CFailingAllocations::kOne);
                const HRESULT             given = call();
                failed                          = failing.HaveFailed();
                return given;
            });
            result                 = outcome.mResult;
            EXPECT_TRUE(result == S_OK ? outcome.mText == whole.mText
                                       : result == E_OUTOFMEMORY || result == alsoAllowed)
                << name << " " << n << ": " << result;
            const COutcome again = ask(inPeace);
            EXPECT_TRUE(again.mResult == S_OK && again.mText == whole.mText) << name << " " << n;
        }
        EXPECT_EQ(test_support::LiveAllocations(), live) << name << " " << n;
        if (!failed || testing::Test::HasFailure()) break;
        if (result != S_OK) ++failures;
    }
    std::printf("%-12s failed %d times\n", name, failures);
    return failures;
}

TEST(ShortOfMemory, EachCallSaysSo) {
    const std::wstring path = WriteProject();
    {
        void* out = nullptr;
        {
            const CFailingAllocations failing(0, CFailingAllocations::kOne);
            EXPECT_EQ(CComObject<CShellExtObj>::CreateInstance(IID_IPersistFile, &out), E_OUTOFMEMORY);
        }
        EXPECT_EQ(gModule.GetLockCount(), 0);
        ASSERT_EQ(CComObject<CShellExtObj>::CreateInstance(IID_IPersistFile, &out), S_OK);
        const CComRef<IPersistFile> object(static_cast<IPersistFile*>(out));
        EXPECT_GT(FailEach(
                      "Load",
                      [&](auto call) {
                          return COutcome{call([&] { return object->Load(path.c_str(), 0); }), {}};
                      },
                      E_OUTOFMEMORY),
                  0);
        EXPECT_GT(FailEach(
                      "GetInfoTip", [&](auto call) { return Tip(object.get(), call); }, E_OUTOFMEMORY),
                  20);
        EXPECT_GT(FailEach(
                      "Extract", [&](auto call) { return Thumbnail(object.get(), call); }, E_FAIL),
                  20);
    }
    EXPECT_EQ(gModule.GetLockCount(), 0);
    std::filesystem::remove(path);
}

}  // namespace
