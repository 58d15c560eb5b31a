#include "shellext/com_support.h"

#include <gtest/gtest.h>
#include <shlwapi.h>

namespace {

DWORD RunRegsvr32(const std::wstring& options, const std::wstring& dll) {
    std::wstring        command = L"regsvr32 /s " + options + L"\"" + dll + L"\"";
    STARTUPINFOW        startup = {};
    PROCESS_INFORMATION process = {};
    startup.cb                  = sizeof startup;
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process))
        return GetLastError();
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

/// Ends a crashing program with the exception's code instead of starting a debugger.
LONG WINAPI EndQuietly(EXCEPTION_POINTERS* pointers) {
    ExitProcess(pointers->ExceptionRecord->ExceptionCode);
}

class CServerEnvironment : public testing::Environment {
    void SetUp() override {
        SetUnhandledExceptionFilter(EndQuietly);
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        if (mIsCase) return;
        // Another build's run of this program in the same registry would take the entries away.
        const HANDLE alone = CreateMutexW(nullptr, FALSE, L"tarvex-registration");  // until the process ends
        ASSERT_NE(WaitForSingleObject(alone, INFINITE), WAIT_FAILED);
        ASSERT_EQ(Register(), 0u) << "the server does not register";
    }
    void TearDown() override {
        CoFreeUnusedLibrariesEx(0, 0);
        if (!mIsCase) {
            EXPECT_EQ(Unregister(), 0u);
        }
        RemoveDirectoryW(TestFolder().c_str());
        CoUninitialize();
    }

    const bool mIsCase = GetEnvironmentVariableW(kCaseVariable, nullptr, 0) != 0;
};
[[maybe_unused]] testing::Environment* const gEnvironment =
    testing::AddGlobalTestEnvironment(new CServerEnvironment);

}  // namespace

const std::wstring& DllPath() {
    static const std::wstring path = [] {
        wchar_t program[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, program, MAX_PATH);
        const std::wstring text = program;
        return text.substr(0, text.rfind(L'\\')) + L"\\TarvexShellExt.dll";
    }();
    return path;
}

std::wstring DllFolder() {
    return DllPath().substr(0, DllPath().rfind(L'\\'));
}

DWORD Register(const std::wstring& dll) {
    return RunRegsvr32(L"", dll);
}
DWORD Unregister(const std::wstring& dll) {
    return RunRegsvr32(L"/u ", dll);
}

CObject::CObject() {
    void* out = nullptr;
    if (FAILED(CoCreateInstance(kClassId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &out))) {
        ADD_FAILURE() << "the server does not create an object";
        return;
    }
    const CComRef<IUnknown> object(static_cast<IUnknown*>(out));
    mFile  = Query<IPersistFile>(object.get(), IID_IPersistFile);
    mTip   = Query<IQueryInfo>(object.get(), IID_IQueryInfo);
    mImage = Query<IExtractImage2>(object.get(), IID_IExtractImage2);
}

std::wstring CObject::Tip() const {
    wchar_t*      text   = nullptr;
    const HRESULT result = mTip->GetInfoTip(QITIPF_USESLOWTIP, &text);
    if (FAILED(result)) return L"failed: " + std::to_wstring(result);
    std::wstring copy = text;
    CoTaskMemFree(text);
    return copy;
}

CPixelRows PixelsOf(HBITMAP bitmap) {
    CPixelRows rows;
    BITMAP     shape = {};
    if (GetObjectW(bitmap, sizeof shape, &shape) == 0) return rows;
    rows.mWidth  = shape.bmWidth;
    rows.mHeight = shape.bmHeight;
    rows.mPixels.resize(static_cast<std::size_t>(shape.bmWidth) * static_cast<std::size_t>(shape.bmHeight));

    BITMAPINFO info              = {};
    info.bmiHeader.biSize        = sizeof info.bmiHeader;
    info.bmiHeader.biWidth       = shape.bmWidth;
    info.bmiHeader.biHeight      = -shape.bmHeight;
    info.bmiHeader.biPlanes      = 1;
    info.bmiHeader.biBitCount    = 32;
    info.bmiHeader.biCompression = BI_RGB;
    const HDC screen             = CreateCompatibleDC(nullptr);
    GetDIBits(screen, bitmap, 0, static_cast<UINT>(shape.bmHeight), rows.mPixels.data(), &info,
              DIB_RGB_COLORS);
    DeleteDC(screen);
    for (std::uint32_t& pixel : rows.mPixels)
        pixel &= 0xFFFFFF;  // the fourth byte says nothing
    return rows;
}

const std::wstring& TestFolder() {
    static const std::wstring folder = [] {
        wchar_t temporary[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temporary);
        std::wstring path = std::wstring(temporary) + L"tarvex-com-" + std::to_wstring(GetCurrentProcessId());
        CreateDirectoryW(path.c_str(), nullptr);
        return path;
    }();
    return folder;
}

CTestFile::CTestFile(std::string_view content, const std::wstring& name)
    : mPath(TestFolder() + L"\\" + name) {
    Write(content);
}

CTestFile::~CTestFile() {
    DeleteFileW(mPath.c_str());
}

void CTestFile::Write(std::string_view content) const {
    const HANDLE file = CreateFileW(mPath.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << "cannot write the test's own file: " << GetLastError();
    DWORD written = 0;
    WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    CloseHandle(file);
    ASSERT_EQ(written, content.size());
}

std::string Project(std::string_view previewLines) {
    return "$begin 'TarvexProject'\n"
           "\tCreated='Tue Mar 05 10:11:12 2013'\n"
           "\tProduct='ZEPH'\n"
           "\t$begin 'Desktop'\n"
           "\t\tVersion(2013, 0)\n"
           "\t$end 'Desktop'\n"
           "$end 'TarvexProject'\n"
           "$begin 'ProjectPreview'\n" +
           std::string(previewLines) + "$end 'ProjectPreview'\n";
}

std::string Design(std::string_view name, std::string_view notes) {
    return "\t$begin 'DesignInfo'\n"
           "\t\tDesignName='" +
           std::string(name) +
           "'\n"
           "\t\tNotes='" +
           std::string(notes) +
           "'\n"
           "\t\tIsSolved=true\n"
           "\t\tFactory='Solver'\n"
           "\t$end 'DesignInfo'\n";
}

std::wstring SizeLine(std::size_t bytes) {
    wchar_t text[50] = {};
    StrFormatByteSizeW(static_cast<LONGLONG>(bytes), text, static_cast<UINT>(std::size(text)));
    return std::wstring(L"Size: ") + text;
}
