// The process and its threads outside Windows.

#include "tessel/platform/platform.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

namespace platform {
namespace {

std::wstring Widen(const char* text) {
    const auto   bytes = static_cast<int>(std::strlen(text));
    std::wstring units(static_cast<std::size_t>(bytes), L'\0');  // never more units than bytes
    unsigned     error = 0;
    units.resize(
        static_cast<std::size_t>(MultiByteToWide(kCodePageAnsi, text, bytes, units.data(), bytes, &error)));
    return units;
}

}  // namespace

unsigned LastError() noexcept {
    return static_cast<unsigned>(errno);
}

void SetLastError(unsigned code) noexcept {
    errno = static_cast<int>(code);
}

std::string SystemErrorText(unsigned code) {
    return ErrnoText(static_cast<int>(code));
}

std::string ErrnoText(int code) {
    char buffer[256];
    return strerror_r(code, buffer, sizeof buffer);  // the C library's own: never null, never empty
}

bool GetEnvironment(const char* name, std::string* value) {
    const char* found = std::getenv(name);
    if (found == nullptr) return false;
    *value = found;
    return true;
}

bool GetEnvironmentWide(const char* name, std::wstring* value) {
    const char* found = std::getenv(name);
    if (found == nullptr) return false;
    *value = Widen(found);
    return true;
}

std::vector<std::wstring> ListEnvironment() {
    std::vector<std::wstring> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        entries.push_back(Widen(*entry));
    return entries;
}

std::string ModuleFileName() {
    char          path[kMaxModulePath];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

unsigned ProcessId() noexcept {
    return static_cast<unsigned>(getpid());
}

std::vector<std::string> CommandLine(int argc, char** argv) {
    return {argv, argv + argc};
}

void UseBinaryStandardStreams() noexcept {}

bool StandardErrorIsTerminal() noexcept {
    return isatty(STDERR_FILENO) == 1;
}

std::tm LocalTime() noexcept {
    const std::time_t now   = std::time(nullptr);
    std::tm           local = {};
    localtime_r(&now, &local);
    return local;
}

EBoxAnswer ShowMessageBox(const char* text, EBoxIcon, EBoxButtons buttons) noexcept {
    std::fprintf(stderr, "%s\n", text);
    return buttons == EBoxButtons::kYesNo ? EBoxAnswer::kNo : EBoxAnswer::kIgnore;
}

CThreadSlot::CThreadSlot(Destroyer destroy) noexcept : mDestroy(destroy), mKey(0) {
    pthread_key_t key;
    if (pthread_key_create(&key, destroy) == 0) mKey = key + 1;
}

CThreadSlot::~CThreadSlot() {
    if (mKey == 0) return;
    // The system destroys what other threads hold when they end, but not what this one holds.
    if (void* value = Get()) mDestroy(value);
    pthread_key_delete(mKey - 1);
    ForgetKey();
}

void* CThreadSlot::Get() const noexcept {
    return mKey == 0 ? nullptr : pthread_getspecific(mKey - 1);
}

bool CThreadSlot::Set(void* value) const noexcept {
    return mKey != 0 && pthread_setspecific(mKey - 1, value) == 0;
}

}  // namespace platform
