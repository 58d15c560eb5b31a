// Files on Windows.

#include "tessel/platform/platform.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

namespace platform {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

struct CErrorPair {
    DWORD mSystem;
    int   mErrno;
};
/// What the C library would have said; anything else is EINVAL.
constexpr CErrorPair kErrorPairs[] = {
    {ERROR_FILE_NOT_FOUND, ENOENT},       {ERROR_PATH_NOT_FOUND, ENOENT}, {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_BAD_NET_NAME, ENOENT},         {ERROR_BAD_PATHNAME, ENOENT},   {ERROR_INVALID_NAME, ENOENT},
    {ERROR_FILENAME_EXCED_RANGE, ENOENT}, {ERROR_INVALID_DRIVE, ENOENT},  {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_SHARING_VIOLATION, EACCES},    {ERROR_LOCK_VIOLATION, EACCES}, {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},    {ERROR_OUTOFMEMORY, ENOMEM},
};

/// Sets both error values. @return -1
int Fail(DWORD error) noexcept {
    int code = EINVAL;
    for (const CErrorPair& pair : kErrorPairs)
        if (pair.mSystem == error) code = pair.mErrno;
    errno = code;
    ::SetLastError(error);
    return -1;
}

/// Takes the handle over and makes it a descriptor of the C library.
int Wrap(HANDLE handle, int flags) noexcept {
    if (handle == INVALID_HANDLE_VALUE) return Fail(GetLastError());
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(handle), flags);
    if (descriptor != -1) return descriptor;
    CloseHandle(handle);
    return Fail(ERROR_TOO_MANY_OPEN_FILES);
}

/// Refuses what is no file on a disk: consoles, pipes, devices. (Directories do not open at all.)
int WrapDiskFile(HANDLE handle, int flags) noexcept {
    if (handle != INVALID_HANDLE_VALUE && GetFileType(handle) != FILE_TYPE_DISK) {
        CloseHandle(handle);
        return Fail(ERROR_ACCESS_DENIED);
    }
    return Wrap(handle, flags);
}

/// Passes the descriptor on, if the file's length can be had where it is asked for.
int WithSize(int descriptor, std::int64_t* size) noexcept {
    if (descriptor == -1 || size == nullptr) return descriptor;
    *size = _filelengthi64(descriptor);
    if (*size >= 0) return descriptor;
    const DWORD error = GetLastError();
    _close(descriptor);
    return Fail(error);
}

/// Takes the descriptor over; -1 is passed on as null.
std::FILE* OpenStream(int descriptor, const char* mode) noexcept {
    if (descriptor == -1) return nullptr;
    std::FILE* file = _fdopen(descriptor, mode);
    if (file == nullptr) {
        _close(descriptor);
        Fail(ERROR_TOO_MANY_OPEN_FILES);
    }
    return file;
}

std::int64_t SecondsSince1970(FILETIME time) noexcept {
    constexpr std::int64_t kTicks = 10'000'000, k1970 = 11'644'473'600;  // a second's, and 1601's distance
    return (std::int64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) / kTicks - k1970;
}

/// A file or folder that leads to another place: a symbolic link, or a folder's junction. (Files that are
/// kept elsewhere until they are wanted lead nowhere.)
bool IsLink(const WIN32_FIND_DATAW& data) noexcept {
    return (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (data.dwReserved0 == IO_REPARSE_TAG_SYMLINK || data.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
}

CFolderEntry::EKind KindOf(const WIN32_FIND_DATAW& data) noexcept {
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return CFolderEntry::kFile;
    return IsLink(data) ? CFolderEntry::kFolderLink : CFolderEntry::kFolder;
}

std::wstring Wide(const std::string& utf8) {
    const auto   bytes = static_cast<int>(utf8.size());
    std::wstring wide(utf8.size(), L'\0');  // never more units than bytes
    wide.resize(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, wide.data(), bytes)));
    return wide;
}

std::string Utf8(std::wstring_view wide) {
    const auto  units = static_cast<int>(wide.size());
    std::string utf8(3 * wide.size(), '\0');  // a unit alone makes up to three bytes
    utf8.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, utf8.data(), 3 * units, nullptr, nullptr)));
    return utf8;
}

}  // namespace

bool GetFileInfo(const char* path, CFileInfo* info) noexcept {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExA(path, GetFileExInfoStandard, &data)) return false;
    const auto has     = [&](DWORD attribute) { return (data.dwFileAttributes & attribute) != 0; };
    info->mIsDirectory = has(FILE_ATTRIBUTE_DIRECTORY);
    info->mIsHidden    = has(FILE_ATTRIBUTE_HIDDEN);
    info->mIsReadOnly  = has(FILE_ATTRIBUTE_READONLY);
    info->mIsRegular   = !has(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE);
    info->mSize        = std::uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
    info->mModified    = SecondsSince1970(data.ftLastWriteTime);
    return true;
}

std::FILE* OpenForReading(const char* path, bool text) noexcept {
    const HANDLE handle =
        CreateFileA(path, GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    return OpenStream(WrapDiskFile(handle, _O_RDONLY | (text ? _O_TEXT : _O_BINARY)), text ? "rt" : "rb");
}

std::FILE* OpenForAppending(const char* path) noexcept {
    const HANDLE handle = CreateFileA(path, FILE_APPEND_DATA | SYNCHRONIZE, kShareAll, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    return OpenStream(Wrap(handle, _O_WRONLY | _O_APPEND | _O_TEXT), "at");
}

int OpenDescriptor(const wchar_t* path, std::int64_t* size) noexcept {
    return WithSize(WrapDiskFile(CreateFileW(path, GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                             FILE_ATTRIBUTE_NORMAL, nullptr),
                                 _O_RDONLY | _O_BINARY),
                    size);
}

int OpenDescriptor(const char* path, std::int64_t* size) noexcept {
    return WithSize(WrapDiskFile(CreateFileA(path, GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                             FILE_ATTRIBUTE_NORMAL, nullptr),
                                 _O_RDONLY | _O_BINARY),
                    size);
}

int ReadDescriptor(int descriptor, void* out, unsigned bytes) noexcept {
    return _read(descriptor, out, bytes);
}

int ReadDescriptorAt(int descriptor, std::int64_t offset, void* out, unsigned bytes) noexcept {
    if (offset < 0 || _lseeki64(descriptor, offset, SEEK_SET) != offset) return -1;
    return _read(descriptor, out, bytes);
}

void SetTextMode(int descriptor, bool on) noexcept {
    _setmode(descriptor, on ? _O_TEXT : _O_BINARY);
}

void CloseDescriptor(int descriptor) noexcept {
    _close(descriptor);
}

bool ListFolder(const char* path, std::vector<CFolderEntry>* entries) {
    WIN32_FIND_DATAW data;
    const HANDLE     search = FindFirstFileExW(Wide(JoinPath(path, "*")).c_str(), FindExInfoBasic, &data,
                                               FindExSearchNameMatch, nullptr, 0);
    if (search == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;  // an empty volume
    const std::unique_ptr<void, decltype(&FindClose)> closer(search, &FindClose);
    do {
        const std::wstring_view name = data.cFileName;
        if (name != L"." && name != L"..") entries->push_back({Utf8(name), KindOf(data)});
    } while (FindNextFileW(search, &data));
    return GetLastError() == ERROR_NO_MORE_FILES;
}

std::string JoinPath(const std::string& folder, const std::string& name) {
    const bool complete = folder.ends_with('/') || folder.ends_with('\\') || folder.ends_with(':');
    return complete ? folder + name : folder + '\\' + name;
}

}  // namespace platform
