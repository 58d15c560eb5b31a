#include "tessel/baseutils/FileDiagnostics.h"

#include "tessel/baseutils/debug_log.h"
#include "tessel/platform/platform.h"
#include "tessel/platform/test_support.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

namespace fs = std::filesystem;
using test_support::CVariable;

/// Logs to standard output; `Reported` gives what one report wrote.
class FileDiagnosticsTest : public ::testing::Test {
  protected:
    FileDiagnosticsTest() : mTarget("TARVEX_DEBUG_LOG", "stdout") {
        InitDebugLog();
        SetDebugLogOptions(0, false, "");
    }
    ~FileDiagnosticsTest() override {
        test_support::SetVariable("TARVEX_DEBUG_LOG", nullptr);
        InitDebugLog();
    }

    /// A report with these error values before it; they must be the same behind it.
    template <typename TPath>
    static std::string Reported(const AString& label, const TPath& path, int errnoValue, unsigned lastError) {
        ::testing::internal::CaptureStdout();
        platform::SetLastError(lastError);
        errno = errnoValue;
        ReportFileAccess(label, path);
        const int      errnoAfter     = errno;
        const unsigned lastErrorAfter = platform::LastError();
        EXPECT_EQ(errnoAfter, errnoValue);
        EXPECT_EQ(lastErrorAfter, lastError);
        return ::testing::internal::GetCapturedStdout();
    }

    test_support::CTempFolder mFolder;
    CVariable                 mTarget;
};

/// The last error; outside Windows it is `errno` itself.
constexpr unsigned LastErrorBeside(int errnoValue, unsigned onWindows) {
    return test_support::kWindows ? onWindows : static_cast<unsigned>(errnoValue);
}

TEST_F(FileDiagnosticsTest, HasThreeLevels) {
    struct CRow {
        const char*       mValue;
        EDiagnosticsLevel mLevel;
    };
    constexpr CRow kRows[] = {
        {nullptr, kNoDiagnostics},       {"", kNoDiagnostics},    {"0", kNoDiagnostics},
        {"-3", kNoDiagnostics},          {"abc", kNoDiagnostics}, {"1", kReportFailures},
        {" 1 ", kReportFailures},        {"2", kReportAll},       {"1000000", kReportAll},
        {"99999999999", kNoDiagnostics},
    };
    const std::string path = mFolder.Write("file", "").string();
    for (const CRow& row : kRows) {
        const CVariable variable("TARVEX_IO_DIAGNOSTICS", row.mValue);
        SCOPED_TRACE(row.mValue != nullptr ? row.mValue : "unset");
        EXPECT_EQ(DiagnosticsLevel(), row.mLevel);
        const AString text(path.c_str());
        EXPECT_EQ(!Reported(L"l", text, 0, 0).empty(), row.mLevel == kReportAll);
        EXPECT_EQ(!Reported(L"l", text, ENOENT, LastErrorBeside(ENOENT, 0)).empty(),
                  row.mLevel != kNoDiagnostics);
        EXPECT_EQ(!Reported(L"l", text, test_support::kWindows ? 0 : 5, 5).empty(),
                  row.mLevel != kNoDiagnostics);
    }
}

TEST_F(FileDiagnosticsTest, TellsWhatBecameOfAnAccess) {
    const CVariable   variable("TARVEX_IO_DIAGNOSTICS", "2");
    const fs::path    hidden  = mFolder.Write(".hidden", "");
    const std::string missing = (mFolder / "missing").string();
    test_support::Hide(hidden);
    fs::permissions(hidden, fs::perms::owner_read);
    const std::string done = "The file was successfully accessed without errors\n";
    const auto report = [&](const std::string& path) { return Reported(L"", AString(path.c_str()), 0, 0); };

    const std::string plain = mFolder.Write("plain", "").string();
    EXPECT_EQ(Reported(L"io::Some, file open", AString(plain.c_str()), 0, 0),
              "io::Some, file open\n" + plain + "\nAttributes: normal-file\n" + done);
    EXPECT_EQ(report(hidden.string()), hidden.string() + "\nAttributes: hidden readonly \n" + done);
    fs::permissions(hidden, fs::perms::owner_all);
    fs::create_directory(mFolder / "folder");
    const std::string folder = (mFolder / "folder").string();
    EXPECT_EQ(report(folder), folder + "\nAttributes: directory \n" + done);
    EXPECT_EQ(report(missing), missing + "\nAttributes: " + platform::SystemErrorText(2) + "\n" + done);

    const unsigned    lastError = LastErrorBeside(EACCES, 5);
    const std::string text      = missing + "\nAttributes: " + platform::SystemErrorText(2) +
                             "\nGetLastError=" + (lastError == 5 ? "00000005" : "0000000d") + ", " +
                             platform::SystemErrorText(lastError) + "\nerrno=13, " +
                             platform::ErrnoText(EACCES) + "\n";
    EXPECT_EQ(Reported(L"", AString(missing.c_str()), EACCES, lastError), text);
}

struct CPathObject {
    std::string mPath;
                operator AString() const {
                    errno = 99;  // too late to be seen
                    return AString(mPath.c_str());
    }
};

TEST_F(FileDiagnosticsTest, TakesPathsInEveryForm) {
    const CVariable   variable("TARVEX_IO_DIAGNOSTICS", "2");
    const std::string path = mFolder.Write("file", "").string();
    const AString     text(path.c_str());
    const std::string expected = Reported(L"label", text, 0, 0);
    EXPECT_EQ(Reported(L"label", path.c_str(), 0, 0), expected);
    EXPECT_EQ(Reported(L"label", text.CStr(), 0, 0), expected);
    EXPECT_EQ(Reported(L"label", CPathObject{path}, 0, 0), expected);
    EXPECT_TRUE(Reported(L"", "\x80.txt", 0, 0).starts_with(AString(L"\x20AC.txt\n").ToNarrow()));
}

}  // namespace
