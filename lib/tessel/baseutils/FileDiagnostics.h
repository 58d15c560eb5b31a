#pragma once

#include "tessel/strings/astringwchar.h"

/// Reports to the debug log what became of opening a file: path, attributes, error codes and texts.
/// The environment variable TARVEX_IO_DIAGNOSTICS decides: 1 reports failed accesses, 2 and more
/// every access. It is read anew for each report.
///
/// A report goes by `errno` and the system's last error: an old error counts as one of this access, so
/// whoever opens a file clears them before.

enum EDiagnosticsLevel { kNoDiagnostics = 0, kReportFailures = 1, kReportAll = 2 };
EDiagnosticsLevel DiagnosticsLevel();

namespace diagnostics_detail {
using PathText = AString (*)(const void* path);
/// Captures the error state before anything else; asks for the path's text only when it is needed.
void Report(const AString& label, const void* path, PathText toText) noexcept;
}  // namespace diagnostics_detail

/// Reports an access of `path`. Never throws, and leaves the caller's error state as it was.
/// @param label  what was done, such as "io::CreateIStream, file open"; empty for none
/// @param path   narrow text is taken as code page 1252
void ReportFileAccess(const AString& label, const AString& path) noexcept;
void ReportFileAccess(const AString& label, const wchar_t* path) noexcept;
void ReportFileAccess(const AString& label, const char* path) noexcept;

/// A path object: one that converts itself to `AString`.
template <typename TPath>
requires requires(const TPath& path) {
    path.operator AString();
}
void ReportFileAccess(const AString& label, const TPath& path) noexcept {
    diagnostics_detail::Report(
        label, &path, [](const void* p) { return static_cast<const TPath*>(p)->operator AString(); });
}
