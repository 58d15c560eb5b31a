// Files on Windows.

#include "tessel/platform/platform.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cerrno>

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

}  // namespace platform
