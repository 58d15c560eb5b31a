// The requests of a file manager to the shell extension, beside the system calls alone that each needs: in
// one process, in turns, medians.

#include "bench/wine_bench/stopwatch.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include <shlobj.h>

#include <gdiplus.h>

namespace {

namespace gdip = Gdiplus::DllExports;

constexpr CLSID kClassId    = {0x05DE8458, 0x5BB6, 0x444E, {0xB9, 0x69, 0x38, 0x83, 0x01, 0x22, 0xD2, 0xD5}};
constexpr CLSID kPngEncoder = {0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};

void Require(bool good, const char* what) {
    if (good) return;
    std::fprintf(stderr, "request_bench: %s\n", what);
    std::exit(1);
}

// ---------------------------------------------------------------------------------------------
// The projects

class CGdiPlus {
  public:
    CGdiPlus() {
        Gdiplus::GdiplusStartupInput input;
        Require(Gdiplus::GdiplusStartup(&mToken, &input, nullptr) == Gdiplus::Ok, "GDI+ does not start");
    }
    ~CGdiPlus() { Gdiplus::GdiplusShutdown(mToken); }
    CGdiPlus(const CGdiPlus&)            = delete;
    CGdiPlus& operator=(const CGdiPlus&) = delete;

  private:
    ULONG_PTR mToken = 0;
};

/// A PNG file of 256 x 256 pixels: bands of colours with some noise, about as large as a drawing.
std::string MakePng() {
    constexpr UINT kSide = 256;
    const CGdiPlus gdiPlus;

    std::vector<std::uint8_t> rows(3 * kSide * kSide);
    std::uint32_t             noise = 1;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        noise = noise * 1664525 + 1013904223;
        rows[i] =
            static_cast<std::uint8_t>(i / 3 % kSide / 32 * 30 + (noise >> 28 == 0 ? noise >> 24 & 7 : 0));
    }
    Gdiplus::GpBitmap* picture = nullptr;
    IStream*           stream  = nullptr;
    HGLOBAL            block   = nullptr;
    STATSTG            status  = {};
    Require(gdip::GdipCreateBitmapFromScan0(kSide, kSide, 3 * kSide, PixelFormat24bppRGB, rows.data(),
                                            &picture) == Gdiplus::Ok &&
                SUCCEEDED(CreateStreamOnHGlobal(nullptr, TRUE, &stream)) &&
                gdip::GdipSaveImageToStream(picture, stream, &kPngEncoder, nullptr) == Gdiplus::Ok &&
                SUCCEEDED(stream->Stat(&status, STATFLAG_NONAME)) &&
                SUCCEEDED(GetHGlobalFromStream(stream, &block)),
            "the picture cannot be made");
    const std::string png(static_cast<const char*>(GlobalLock(block)), status.cbSize.LowPart);
    GlobalUnlock(block);
    stream->Release();
    gdip::GdipDisposeImage(picture);
    return png;
}

std::string Base64(const std::string& bytes) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string                text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            bits = bits << 8 | (i + k < bytes.size() ? static_cast<std::uint8_t>(bytes[i + k]) : 0);
        for (std::size_t k = 0; k < 4; ++k)
            text += i + k > bytes.size() ? '=' : kDigits[bits >> (18 - 6 * k) & 63];
    }
    return text;
}

/// A project of about 64 KB.
/// @param preview  the items of its preview
std::string Project(const std::string& preview) {
    std::string text =
        "$begin 'Desktop'\n\tVersion(2014, 1)\n$end 'Desktop'\nProduct='ZEPH'\n$begin 'Model'\n";
    while (text.size() < 60000)
        text += "\tVertex(0.125, -3.5, 17, Name='corner')\n";
    return text + "$end 'Model'\n$begin 'ProjectPreview'\n" + preview + "$end 'ProjectPreview'\n";
}

std::string Designs() {
    std::string text;
    for (int i = 0; text.size() < 2000; ++i)
        text +=
            "\t$begin 'DesignInfo'\n\t\tDesignName='Element " + std::to_string(i) +
            "'\n\t\tNotes='matched at 9.6 GHz'\n\t\tIsSolved=true\n\t\tFactory='HF'\n\t$end 'DesignInfo'\n";
    return text;
}

/// A file for the time of the run.
class CProjectFile {
  public:
    CProjectFile(const wchar_t* name, const std::string& content) {
        wchar_t folder[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, folder);
        mPath             = std::wstring(folder) + name;
        const HANDLE file = CreateFileW(mPath.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD        written = 0;
        WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
        CloseHandle(file);
        Require(written == content.size(), "a project cannot be written");
    }
    ~CProjectFile() { DeleteFileW(mPath.c_str()); }
    CProjectFile(const CProjectFile&)            = delete;
    CProjectFile& operator=(const CProjectFile&) = delete;

    const wchar_t* Path() const { return mPath.c_str(); }

  private:
    std::wstring mPath;
};

// ---------------------------------------------------------------------------------------------
// The floors

/// Opens a file as the shell extension has to: others may do with it what they want.
HANDLE Open(const wchar_t* path) {
    const HANDLE file =
        CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    Require(file != INVALID_HANDLE_VALUE, "a project does not open");
    return file;
}

void ReadPiece(HANDLE file, LONG bytes, DWORD from) {
    static char buffer[64 << 10];
    DWORD       read = 0;
    SetFilePointer(file, from == FILE_END ? -bytes : 0, nullptr, from);
    Require(ReadFile(file, buffer, static_cast<DWORD>(bytes), &read, nullptr) && read != 0,
            "nothing to read");
}

/// Head and tail.
void ReadForTip(const wchar_t* path) {
    const HANDLE  file = Open(path);
    LARGE_INTEGER size;
    ReadPiece(file, 4096, FILE_BEGIN);
    GetFileSizeEx(file, &size);
    ReadPiece(file, 4096, FILE_END);
    CloseHandle(file);
}

/// The tail, as far as the picture reaches.
void ReadForPicture(const wchar_t* path) {
    const HANDLE  file = Open(path);
    LARGE_INTEGER size;
    GetFileSizeEx(file, &size);
    ReadPiece(file, 36 << 10, FILE_END);
    CloseHandle(file);
}

void DecodePicture(const std::string& png) {
    HBITMAP bitmap = nullptr;
    HGLOBAL block  = GlobalAlloc(GMEM_MOVEABLE, png.size());
    std::memcpy(GlobalLock(block), png.data(), png.size());
    GlobalUnlock(block);
    IStream* stream = nullptr;
    CreateStreamOnHGlobal(block, TRUE, &stream);
    {
        const CGdiPlus     gdiPlus;
        Gdiplus::GpBitmap* picture = nullptr;
        gdip::GdipCreateBitmapFromStream(stream, &picture);
        gdip::GdipCreateHBITMAPFromBitmap(picture, &bitmap, 0xFF000000);
        gdip::GdipDisposeImage(picture);
    }
    stream->Release();
    Require(DeleteObject(bitmap), "the floor made no picture");
}

// ---------------------------------------------------------------------------------------------
// The shell extension

IClassFactory* LoadFactory() {
    using CGetClassObject     = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const std::wstring path = program;
    const HMODULE      module =
        LoadLibraryW((path.substr(0, path.rfind(L'\\') + 1) + L"TarvexShellExt.dll").c_str());
    Require(module != nullptr, "the DLL does not load");
    const auto entry   = reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject"));
    void*      factory = nullptr;
    Require(SUCCEEDED(reinterpret_cast<CGetClassObject>(entry)(kClassId, IID_IClassFactory, &factory)),
            "the DLL has no such class");
    return static_cast<IClassFactory*>(factory);
}

/// One object, bound to the file and let go again, as for each request of a file manager.
/// @param ask  called with the interface
template <class Interface>
void Request(IClassFactory* factory, const wchar_t* path, REFIID iid,
             const std::function<bool(Interface*)>& ask) {
    IPersistFile* file   = nullptr;
    void*         object = nullptr;
    Require(SUCCEEDED(factory->CreateInstance(nullptr, IID_IPersistFile, reinterpret_cast<void**>(&file))) &&
                SUCCEEDED(file->Load(path, STGM_READ)) && SUCCEEDED(file->QueryInterface(iid, &object)) &&
                ask(static_cast<Interface*>(object)),
            "the request fails");
    static_cast<Interface*>(object)->Release();
    file->Release();
}

bool AskForTip(IQueryInfo* object) {
    wchar_t* text = nullptr;
    if (FAILED(object->GetInfoTip(QITIPF_DEFAULT, &text))) return false;
    CoTaskMemFree(text);
    return true;
}

bool AskForPicture(IExtractImage2* object) {
    HBITMAP bitmap = nullptr;
    return SUCCEEDED(object->Extract(&bitmap)) && DeleteObject(bitmap);
}

// ---------------------------------------------------------------------------------------------

struct CJob {
    const char*           mName;
    std::function<void()> mRun;
    std::vector<double>   mTimes = {};
};

/// Runs the jobs in turns and prints the time of each, and what it is of the first one's.
void Measure(std::vector<CJob> jobs) {
    constexpr int kRounds = 500, kWarmUp = 20;
    for (int round = -kWarmUp; round < kRounds; ++round)
        for (CJob& job : jobs) {
            const double time = Microseconds(job.mRun);
            if (round >= 0) job.mTimes.push_back(time);
        }
    for (const CJob& job : jobs)
        std::printf("%-26s %8.1f us, %.2f times the floor\n", job.mName, QuickestTenth(job.mTimes),
                    QuickestTenth(job.mTimes) / QuickestTenth(jobs[0].mTimes));
}

}  // namespace

int main() {
    Require(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)), "COM does not start");
    const std::string  png = MakePng();
    const CProjectFile tip(L"tarvex-bench-tip.tarvex", Project(Designs()));
    const CProjectFile picture(L"tarvex-bench-picture.tarvex",
                               Project("\tThumbnail64='" + Base64(png) + "'\n"));
    IClassFactory*     factory = LoadFactory();

    Measure({
        {"floor of a tip", [&] { ReadForTip(tip.Path()); }},
        {"  one open and close", [&] { CloseHandle(Open(tip.Path())); }},
        {"GetInfoTip", [&] { Request<IQueryInfo>(factory, tip.Path(), IID_IQueryInfo, AskForTip); }},
    });
    std::printf("\n");
    Measure({
        {"floor of a picture",
         [&] {
             ReadForPicture(picture.Path());
             DecodePicture(png);
         }},
        {"  GDI+ by itself", [&] { DecodePicture(png); }},
        {"Extract",
         [&] { Request<IExtractImage2>(factory, picture.Path(), IID_IExtractImage2, AskForPicture); }},
    });
    std::printf("(a picture of 256 x 256 pixels, %zu bytes of PNG)\n", png.size());
    factory->Release();
    CoUninitialize();
}
