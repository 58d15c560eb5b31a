#include "tessel/baseutils/FileDiagnostics.h"

#include "tessel/baseutils/assertion.h"
#include "tessel/baseutils/debug_log.h"
#include "tessel/platform/platform.h"

#include <cerrno>
#include <string>

namespace {

/// The error state of the calling thread, as it was when this object was made; put back when it goes.
class CErrorState {
  public:
    CErrorState() noexcept : mErrno(errno), mLastError(platform::LastError()) {}
    ~CErrorState() {
        platform::SetLastError(mLastError);
        errno = mErrno;
    }
    CErrorState(const CErrorState&)            = delete;
    CErrorState& operator=(const CErrorState&) = delete;

    int      Errno() const noexcept { return mErrno; }
    unsigned LastError() const noexcept { return mLastError; }
    bool     IsFailure() const noexcept { return mErrno != 0 || mLastError != 0; }

  private:
    int      mErrno;
    unsigned mLastError;
};

AString MessageText(const std::string& message) {
    const std::size_t count = message.size();
    TESSEL_ASSERT(count < AString::kMaxFormatBufferSize);
    return AString(message.c_str());
}

AString AttributeWords(const AString& path) {
    platform::CFileInfo info;
    if (!platform::GetFileInfo(path.ToNarrow().c_str(), &info))
        return MessageText(platform::SystemErrorText(platform::LastError()));
    AString words;
    if (info.mIsDirectory) words += L"directory ";
    if (info.mIsHidden) words += L"hidden ";
    if (info.mIsReadOnly) words += L"readonly ";
    return words.IsEmpty() ? AString(L"normal-file") : words;
}

AString Compose(const AString& label, const AString& path, const CErrorState& outcome) {
    AString text;
    AString part;
    if (!label.IsEmpty()) {
        text += label;
        text += L'\n';
    }
    text += path;
    text += L"\nAttributes: ";
    text += AttributeWords(path);
    text += L'\n';
    if (outcome.LastError() != 0) {
        part.Format(L"GetLastError=%8.8x, %ls\n", outcome.LastError(),
                    MessageText(platform::SystemErrorText(outcome.LastError())).CStr());
        text += part;
    }
    if (outcome.Errno() != 0) {
        part.Format(L"errno=%d, %ls\n", outcome.Errno(),
                    MessageText(platform::ErrnoText(outcome.Errno())).CStr());
        text += part;
    }
    if (!outcome.IsFailure()) text += L"The file was successfully accessed without errors\n";
    return text;
}

/// Where a host takes the texts over.
using DiagnosticsSink = void (*)(const AString& text);

/// No host of this module does.
DiagnosticsSink ModuleDiagnosticsSink() {
    TESSEL_ASSERT(0);
    return nullptr;
}

}  // namespace

EDiagnosticsLevel DiagnosticsLevel() {
    std::wstring text;
    std::int32_t level = 0;
    if (!platform::GetEnvironmentWide("TARVEX_IO_DIAGNOSTICS", &text) ||
        !AString(std::move(text)).IsInt(level) || level <= 0)
        return kNoDiagnostics;
    return level == 1 ? kReportFailures : kReportAll;
}

void diagnostics_detail::Report(const AString& label, const void* path, PathText toText) noexcept {
    const CErrorState outcome;
    try {
        const EDiagnosticsLevel level = DiagnosticsLevel();
        if (level == kNoDiagnostics || (level == kReportFailures && !outcome.IsFailure())) return;
        const AString text = Compose(label, toText(path), outcome);
        TESSEL_LOG(0, L"%ls", text.CStr());
        if (const DiagnosticsSink sink = ModuleDiagnosticsSink()) sink(text);
    } catch (...) {
        // Short of memory: the report is lost, the access is not.
    }
}

void ReportFileAccess(const AString& label, const AString& path) noexcept {
    diagnostics_detail::Report(label, &path, [](const void* p) { return *static_cast<const AString*>(p); });
}

void ReportFileAccess(const AString& label, const wchar_t* path) noexcept {
    diagnostics_detail::Report(label, path,
                               [](const void* p) { return AString(static_cast<const wchar_t*>(p)); });
}

void ReportFileAccess(const AString& label, const char* path) noexcept {
    diagnostics_detail::Report(
        label, path, [](const void* p) { return AString(static_cast<const char*>(p), kCp1252Encoding); });
}
