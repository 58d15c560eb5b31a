// Files outside Windows.

#include "tessel/platform/platform.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <string>
#include <string_view>

namespace platform {
namespace {

/// Opens a regular file only. Without O_NONBLOCK the opening of a pipe would wait for its writer.
int OpenRegularFile(const char* path, std::int64_t* size = nullptr) noexcept {
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor == -1) return -1;
    struct stat status;
    int         error = 0;
    if (fstat(descriptor, &status) != 0)
        error = errno;
    else if (S_ISDIR(status.st_mode))
        error = EISDIR;
    else if (!S_ISREG(status.st_mode))
        error = EACCES;
    if (error != 0) {
        close(descriptor);
        errno = error;
        return -1;
    }
    if (size != nullptr) *size = status.st_size;
    return descriptor;
}

/// A call that a signal interrupted is made again.
template <class Call>
int Retry(Call call) noexcept {
    for (;;) {
        const ssize_t count = call();
        if (count != -1 || errno != EINTR) return static_cast<int>(count);
    }
}

/// Takes the descriptor over; -1 is passed on as null.
std::FILE* OpenStream(int descriptor, const char* mode) noexcept {
    if (descriptor == -1) return nullptr;
    std::FILE* file = fdopen(descriptor, mode);
    if (file != nullptr) return file;
    const int error = errno;
    close(descriptor);
    errno = error;
    return nullptr;
}

bool HasHiddenName(std::string_view path) noexcept {
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    const std::string_view name = path.substr(path.rfind('/') + 1);
    return name.starts_with('.') && name != "." && name != "..";
}

/// Not every file system says with the name what it is the name of.
CFolderEntry::EKind KindOf(int folder, const dirent& entry) noexcept {
    unsigned char kind = entry.d_type;
    struct stat   status;
    if (kind == DT_UNKNOWN && fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0)
        kind = S_ISDIR(status.st_mode) ? DT_DIR : S_ISLNK(status.st_mode) ? DT_LNK : DT_REG;
    if (kind == DT_DIR) return CFolderEntry::kFolder;
    const bool leadsToFolder =
        kind == DT_LNK && fstatat(folder, entry.d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
    return leadsToFolder ? CFolderEntry::kFolderLink : CFolderEntry::kFile;
}

struct CCloseFolder {
    void operator()(DIR* folder) const noexcept { closedir(folder); }
};

}  // namespace

bool GetFileInfo(const char* path, CFileInfo* info) noexcept {
    struct stat status;
    if (stat(path, &status) != 0) return false;
    info->mIsDirectory = S_ISDIR(status.st_mode);
    info->mIsRegular   = S_ISREG(status.st_mode);
    info->mIsHidden    = HasHiddenName(path);
    info->mIsReadOnly  = (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    info->mSize        = static_cast<std::uint64_t>(status.st_size);
    info->mModified    = status.st_mtime;
    return true;
}

std::FILE* OpenForReading(const char* path, bool text) noexcept {
    return OpenStream(OpenRegularFile(path), text ? "r" : "rb");
}

std::FILE* OpenForAppending(const char* path) noexcept {
    return OpenStream(open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666), "a");
}

int OpenDescriptor(const wchar_t* path, std::int64_t* size) noexcept {
    char     narrow[PATH_MAX];
    unsigned error = 0;
    if (WideToMultiByte(kCodePageAnsi, path, -1, narrow, sizeof narrow, &error) == 0) {
        errno = error == kErrorInsufficientBuffer ? ENAMETOOLONG : EINVAL;
        return -1;
    }
    return OpenRegularFile(narrow, size);
}

int OpenDescriptor(const char* path, std::int64_t* size) noexcept {
    return OpenRegularFile(path, size);
}

int ReadDescriptor(int descriptor, void* out, unsigned bytes) noexcept {
    return Retry([=] { return read(descriptor, out, std::min<std::size_t>(bytes, INT_MAX)); });
}

int ReadDescriptorAt(int descriptor, std::int64_t offset, void* out, unsigned bytes) noexcept {
    return Retry([=] { return pread(descriptor, out, std::min<std::size_t>(bytes, INT_MAX), offset); });
}

void SetTextMode(int, bool) noexcept {}

bool ListFolder(const char* path, std::vector<CFolderEntry>* entries) {
    const std::unique_ptr<DIR, CCloseFolder> folder(opendir(path));
    if (folder == nullptr) return false;
    for (;;) {
        errno               = 0;
        const dirent* entry = readdir(folder.get());
        if (entry == nullptr) return errno == 0;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            entries->push_back({std::string(name), KindOf(dirfd(folder.get()), *entry)});
    }
}

std::string JoinPath(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

void CloseDescriptor(int descriptor) noexcept {
    close(descriptor);
}

}  // namespace platform
