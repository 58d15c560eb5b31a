#pragma once

#include <shlobj.h>
#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What the tests know of the server is what any client can know: its class id and the path of its
// DLL. Everything else goes through COM, the registry and the DLL's exports.

inline constexpr CLSID kClassId = {
    0x05DE8458, 0x5BB6, 0x444E, {0xB9, 0x69, 0x38, 0x83, 0x01, 0x22, 0xD2, 0xD5}};
inline constexpr wchar_t kClassIdText[] = L"{05DE8458-5BB6-444E-B969-38830122D2D5}";
inline constexpr wchar_t kAppIdText[]   = L"{E2254355-EEF9-4318-8FA8-298C1F190E2F}";
inline constexpr wchar_t kTypeLibText[] = L"{4F91C081-3221-4D94-A36B-673EC0543BF7}";

/// Set for a process that runs one case of a test: the server is registered, by the process that started it.
inline constexpr wchar_t kCaseVariable[] = L"TARVEX_TEST_CASE";

/// The DLL under test: it lies beside this program.
const std::wstring& DllPath();
/// The folder of `DllPath`, without a backslash at its end.
std::wstring DllFolder();

/// Runs the system's registration tool silently and gives its exit code.
DWORD Register(const std::wstring& dll = DllPath());
DWORD Unregister(const std::wstring& dll = DllPath());

struct CReleaser {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface>
using CComRef = std::unique_ptr<Interface, CReleaser>;

/// Asks for an interface; null when it is refused.
template <class Interface>
CComRef<Interface> Query(IUnknown* object, REFIID iid) {
    void* out = nullptr;
    if (object == nullptr || FAILED(object->QueryInterface(iid, &out))) return nullptr;
    return CComRef<Interface>(static_cast<Interface*>(out));
}

/// One new object of the server with its three interfaces, as the shell would hold it.
struct CObject {
    CObject();
    explicit CObject(const std::wstring& path) : CObject() { mFile->Load(path.c_str(), STGM_READ); }

    CComRef<IPersistFile>   mFile;
    CComRef<IQueryInfo>     mTip;
    CComRef<IExtractImage2> mImage;

    /// The tip's text; "failed: <code>" when the call fails. The text is freed with the shell's allocator.
    std::wstring Tip() const;
};

/// A picture's pixels as 0xRRGGBB, top row first.
struct CPixelRows {
    int                        mWidth  = 0;
    int                        mHeight = 0;
    std::vector<std::uint32_t> mPixels;
};
CPixelRows PixelsOf(HBITMAP bitmap);

/// A file in a folder of the tests' own, removed with this object.
class CTestFile {
  public:
    explicit CTestFile(std::string_view content, const std::wstring& name = L"project.tarvex");
    ~CTestFile();
    CTestFile(const CTestFile&)            = delete;
    CTestFile& operator=(const CTestFile&) = delete;

    const std::wstring& Path() const { return mPath; }
    void                Write(std::string_view content) const;

  private:
    std::wstring mPath;
};
/// The folder of the test files, without a backslash at its end.
const std::wstring& TestFolder();

/// A whole project: head, then a preview block with the given lines.
std::string Project(std::string_view previewLines);
/// The lines of one design.
std::string Design(std::string_view name, std::string_view notes);
/// The last line of a tip for a file of that many bytes, as the system words it.
std::wstring SizeLine(std::size_t bytes);
