// The process and its threads on Windows.

#include "tessel/platform/platform.h"

#include <windows.h>

#include <shellapi.h>

#include <fcntl.h>
#include <io.h>

#include <cstring>
#include <memory>
#include <new>

namespace platform {
namespace {

/// Reads an environment variable through one of the two system calls, growing until it fits.
template <typename TChar, typename TName>
bool ReadVariable(DWORD(WINAPI* read)(const TName*, TChar*, DWORD), const TName* name,
                  std::basic_string<TChar>* value) {
    std::basic_string<TChar> found(64, TChar());
    for (;;) {
        ::SetLastError(0);
        const auto  capacity = static_cast<DWORD>(found.size());
        const DWORD length   = read(name, found.data(), capacity);
        if (length == 0 && GetLastError() != 0) return false;
        found.resize(length);
        if (length < capacity) break;
    }
    *value = std::move(found);
    return true;
}

}  // namespace

unsigned LastError() noexcept {
    return GetLastError();
}

void SetLastError(unsigned code) noexcept {
    ::SetLastError(code);
}

std::string SystemErrorText(unsigned code) {
    char  text[4096];
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                                  0, text, sizeof text, nullptr);
    while (length != 0 && (text[length - 1] == '\r' || text[length - 1] == '\n' || text[length - 1] == ' '))
        --length;
    return length != 0 ? std::string(text, length) : "Error " + std::to_string(code);
}

std::string ErrnoText(int code) {
    return std::strerror(code);
}

bool GetEnvironment(const char* name, std::string* value) {
    return ReadVariable(&GetEnvironmentVariableA, name, value);
}

bool GetEnvironmentWide(const char* name, std::wstring* value) {
    const std::wstring wide(name, name + std::strlen(name));  // names are ASCII
    return ReadVariable(&GetEnvironmentVariableW, wide.c_str(), value);
}

std::vector<std::wstring> ListEnvironment() {
    const std::unique_ptr<wchar_t, decltype(&FreeEnvironmentStringsW)> block(GetEnvironmentStringsW(),
                                                                             &FreeEnvironmentStringsW);
    std::vector<std::wstring>                                          entries;
    if (block == nullptr) return entries;
    for (const wchar_t* entry = block.get(); *entry != 0; entry += entries.back().size() + 1)
        entries.emplace_back(entry);
    return entries;
}

std::string ModuleFileName() {
    char path[kMaxModulePath];
    return {path, GetModuleFileNameA(nullptr, path, kMaxModulePath)};
}

unsigned ProcessId() noexcept {
    return GetCurrentProcessId();
}

std::vector<std::string> CommandLine(int argc, char** argv) {
    int                                                 count = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> words(CommandLineToArgvW(GetCommandLineW(), &count),
                                                              &LocalFree);
    if (words == nullptr) return {argv, argv + argc};
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i) {
        unsigned     error = 0;
        const LPWSTR word  = words.get()[i];
        const int    size  = WideToMultiByte(kCodePageUtf8, word, -1, nullptr, 0, &error);
        std::string  text(static_cast<std::size_t>(size), '\0');
        WideToMultiByte(kCodePageUtf8, word, -1, text.data(), size, &error);
        if (!text.empty()) text.pop_back();  // the NUL
        arguments.push_back(std::move(text));
    }
    return arguments;
}

void UseBinaryStandardStreams() noexcept {
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
}

bool StandardErrorIsTerminal() noexcept {
    DWORD mode = 0;  // which a console alone has
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

std::tm LocalTime() noexcept {
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    std::tm local = {};
    local.tm_year = now.wYear - 1900;
    local.tm_mon  = now.wMonth - 1;
    local.tm_mday = now.wDay;
    local.tm_wday = now.wDayOfWeek;
    local.tm_hour = now.wHour;
    local.tm_min  = now.wMinute;
    local.tm_sec  = now.wSecond;
    return local;
}

EBoxAnswer ShowMessageBox(const char* text, EBoxIcon icon, EBoxButtons buttons) noexcept {
    UINT style = MB_TASKMODAL | (buttons == EBoxButtons::kYesNo ? MB_YESNO : MB_ABORTRETRYIGNORE);
    switch (icon) {
        case EBoxIcon::kStop:
            style |= MB_ICONSTOP;
            break;
        case EBoxIcon::kQuestion:
            style |= MB_ICONQUESTION;
            break;
        case EBoxIcon::kExclamation:
            style |= MB_ICONEXCLAMATION;
            break;
    }
    switch (MessageBoxA(nullptr, text, "TarvexShellExt", style)) {
        case IDABORT:
            return EBoxAnswer::kAbort;
        case IDRETRY:
            return EBoxAnswer::kRetry;
        case IDIGNORE:
            return EBoxAnswer::kIgnore;
        case IDYES:
            return EBoxAnswer::kYes;
        case IDNO:
            return EBoxAnswer::kNo;
        default:
            return EBoxAnswer::kOther;
    }
}

// ---------------------------------------------------------------------------------------------
// Fiber-local storage: unlike thread-local storage it calls back, for each thread that ends and for
// all of them when the index is freed.

namespace {

/// What the system keeps for a thread; the callback is told nothing else.
struct CThreadValue {
    CThreadSlot::Destroyer mDestroy;
    void*                  mValue;
};

void WINAPI ThreadGone(void* data) {
    auto* value = static_cast<CThreadValue*>(data);
    if (value->mValue != nullptr) value->mDestroy(value->mValue);
    delete value;
}

/// Reading a slot succeeds by clearing the thread's error code, which belongs to somebody else.
CThreadValue* ValueOf(std::uint32_t key) noexcept {
    if (key == 0) return nullptr;
    const DWORD error = GetLastError();
    auto*       value = static_cast<CThreadValue*>(FlsGetValue(key - 1));
    ::SetLastError(error);
    return value;
}

}  // namespace

CThreadSlot::CThreadSlot(Destroyer destroy) noexcept : mDestroy(destroy), mKey(0) {
    const DWORD index = FlsAlloc(&ThreadGone);
    if (index != FLS_OUT_OF_INDEXES) mKey = index + 1;
}

CThreadSlot::~CThreadSlot() {
    if (mKey == 0) return;
    FlsFree(mKey - 1);
    ForgetKey();
}

void* CThreadSlot::Get() const noexcept {
    const CThreadValue* value = ValueOf(mKey);
    return value == nullptr ? nullptr : value->mValue;
}

bool CThreadSlot::Set(void* value) const noexcept {
    if (CThreadValue* held = ValueOf(mKey)) {
        held->mValue = value;
        return true;
    }
    auto* fresh = mKey == 0 ? nullptr : new (std::nothrow) CThreadValue{mDestroy, value};
    if (fresh == nullptr) return false;
    if (FlsSetValue(mKey - 1, fresh)) return true;
    delete fresh;
    return false;
}

}  // namespace platform
