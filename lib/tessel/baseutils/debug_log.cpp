#include "tessel/baseutils/debug_log.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/baseutils/utilfuncs.h"
#include "tessel/platform/platform.h"
#include "tessel/strings/astringwchar.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace {

// ---------------------------------------------------------------------------------------------
// Settings

struct CCloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

struct CLogSettings {
    std::int32_t                           mLevel = 0;
    std::string                            mFilter;
    bool                                   mVerbose  = false;
    bool                                   mToStdout = false;
    std::unique_ptr<std::FILE, CCloseFile> mStream;

    CLogSettings() noexcept { Read(); }

    void Read() noexcept;
    /// Null when nothing is to be written.
    std::FILE* Output() const noexcept { return mToStdout ? stdout : mStream.get(); }
};

CLogSettings gLog;

bool IsSet(const char* name) {
    std::string ignored;
    return platform::GetEnvironment(name, &ignored);
}

bool ReadLevel(const char* name, std::int32_t* level) {
    std::wstring text;
    return platform::GetEnvironmentWide(name, &text) && AString(std::move(text)).IsInt(*level);
}

std::string LogFileName(const std::string& target) {
    const bool  perProcess = IsSet("TARVEX_DEBUG_LOG_SEPARATE");
    std::string value;
    const bool  perProgram =
        platform::GetEnvironment("TARVEX_DEBUG_LOG_SEPARATE_NO_PID", &value) && value == "1";
    if (!perProcess && !perProgram) return target;
    const std::string module = platform::ModuleFileName();
    const std::string id     = perProcess ? std::to_string(platform::ProcessId()) : std::string();
    return target + "_" + std::string(FileStemOf(module)) + "_" + id + ".log";
}

void CLogSettings::Read() noexcept try {
    mStream.reset();
    mToStdout = false;
    mLevel    = 0;
    if (!ReadLevel("TARVEX_DEBUG_MODE", &mLevel)) ReadLevel("BRANTOR_DEBUG_MODE", &mLevel);
    mVerbose = IsSet("TARVEX_DEBUG_VERBOSE");
    platform::GetEnvironment("TARVEX_DEBUG_FILE", &mFilter);

    std::string target;
    if (!platform::GetEnvironment("TARVEX_DEBUG_LOG", &target) &&
        !platform::GetEnvironment("BRANTOR_DEBUG_LOG", &target))
        return;
    mToStdout = EqualsNoCase(target, "stdout");
    if (!mToStdout && !target.empty()) mStream.reset(platform::OpenForAppending(LogFileName(target).c_str()));
} catch (...) {
    // Short of memory: no log.
}

// ---------------------------------------------------------------------------------------------
// What a thread is about to write

struct CThreadLog {
    std::string_view mFile;      ///< empty: unknown
    int              mLine = 0;  ///< positive when known
    std::wstring     mPending;   ///< what followed the last line end
};

void DestroyThreadLog(void* log) {
    delete static_cast<CThreadLog*>(log);
}

const platform::CThreadSlot gThreadLog(&DestroyThreadLog);

/// Null when there is no place to keep one.
CThreadLog* ThreadLog() {
    if (void* kept = gThreadLog.Get()) return static_cast<CThreadLog*>(kept);
    auto fresh = std::make_unique<CThreadLog>();
    return gThreadLog.Set(fresh.get()) ? fresh.release() : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Lines

bool Passes(int level, std::string_view file) {
    if (gLog.mLevel < level) return false;
    return gLog.mFilter.empty() || file.empty() || gLog.mFilter.find(file) != std::string::npos;
}

/// Looked up with the first line that is written, once for the process.
bool WantsTime() {
    enum : int { kUnknown, kNo, kYes };
    static std::atomic<int> state{kUnknown};
    int                     known = state.load(std::memory_order_relaxed);
    if (known == kUnknown) {
        known = IsSet("TARVEX_DEBUG_LOG_TIMESTAMP") ? kYes : kNo;
        state.store(known, std::memory_order_relaxed);
    }
    return known == kYes;
}

/// "%I:%M:%S %p  %b %d, %Y", in English whatever locale the process has set.
AString TimeText() {
    static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::tm                now       = platform::LocalTime();
    AString                      text;
    text.Format(L"%02d:%02d:%02d %hs  %hs %02d, %d", (now.tm_hour + 11) % 12 + 1, now.tm_min, now.tm_sec,
                now.tm_hour < 12 ? "AM" : "PM", kMonths[now.tm_mon], now.tm_mday, now.tm_year + 1900);
    return text;
}

AString Prefix(int level, const CThreadLog& log) {
    AString prefix;
    AString part;
    if (gLog.mVerbose && !log.mFile.empty()) {
        prefix += AString(std::string(log.mFile).c_str());
        if (log.mLine > 0) {
            part.Format(L"(%d)", log.mLine);
            prefix += part;
        }
        prefix += L" : ";
    }
    if (level != 0) {
        part.Format(L"[%d] ", level);
        prefix += part;
    }
    if (WantsTime()) {
        part.Format(L"(%ls) ", TimeText().CStr());
        prefix += part;
    }
    if (!prefix.IsEmpty()) prefix += L'\t';
    return prefix;
}

/// One call of the C library for each line, so that threads do not mix theirs.
void WriteLine(int level, CThreadLog& log) {
    AString line = Prefix(level, log);
    line += AString(log.mPending.data(), log.mPending.size());
    line += L'\n';
    log.mPending.clear();
    const std::string narrow = line.ToNarrow();
    std::fwrite(narrow.data(), 1, narrow.size(), gLog.Output());
    std::fflush(gLog.Output());
}

void WriteText(int level, const AString& text, CThreadLog& log) {
    for (const wchar_t unit : text.Str()) {
        if (unit == L'\n')
            WriteLine(level, log);
        else
            log.mPending += unit;
    }
}

void WriteMessage(int level, const wchar_t* format, std::va_list arguments) {
    if (gLog.Output() == nullptr) return;
    CThreadLog  own;
    CThreadLog* kept = ThreadLog();
    CThreadLog& log  = kept != nullptr ? *kept : own;
    if (Passes(level, log.mFile)) {
        AString text;
        text.FormatV(format, arguments);
        WriteText(level, text, log);
        if (kept == nullptr && !own.mPending.empty()) WriteLine(level, own);
    }
    log.mFile = {};
    log.mLine = 0;
}

}  // namespace

void InitDebugLog() noexcept {
    gLog.Read();
}

bool IsDebugLogOpen() noexcept {
    return gLog.Output() != nullptr;
}

void SetDebugLogOptions(int level, bool verbose, const char* filter) noexcept try {
    gLog.mLevel   = level;
    gLog.mVerbose = verbose;
    if (filter != nullptr) gLog.mFilter = filter;
} catch (...) {
    gLog.mFilter.clear();  // short of memory: rather too many messages than none
}

void SetDebugLogSource(const char* file, int line) noexcept try {
    if (!IsDebugLogOpen()) return;
    if (CThreadLog* log = ThreadLog()) {
        log->mFile = FileNameOf(file);
        log->mLine = line;
    }
} catch (...) {
    // Short of memory: the source stays unknown.
}

void DebugLog(int level, const wchar_t* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        WriteMessage(level, format, arguments);
    } catch (...) {
        // Short of memory: the message is lost.
    }
    va_end(arguments);
}

void DebugLogSeparator() noexcept {
    DebugLog(0, L"=====\n");
}

void ListEnvironment() noexcept try {
    DebugLog(0, L"-------- Start of Environment Listing --------\n");
    for (const std::wstring& entry : platform::ListEnvironment())
        DebugLog(0, L"%ls\n", entry.c_str());
    DebugLog(0, L"-------- End of Environment Listing --------\n");
} catch (...) {
    // Short of memory: the listing ends early.
}

void SetDebugLogFile(const char*) {
    TESSEL_ASSERT_TEXT(false, "!\"This function is not to be used anymore\"");
}
