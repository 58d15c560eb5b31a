#include "tessel/baseutils/debug_log.h"

#include "tessel/baseutils/child_process.h"
#include "tessel/baseutils/recorded_assertions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using test_support::CVariable;
using test_support::ReadText;

/// Starts with no variable of the log set, and leaves no log open.
class DebugLogTest : public ::testing::Test {
  protected:
    DebugLogTest() {
        InitDebugLog();
        SetDebugLogOptions(0, false, "");
    }
    ~DebugLogTest() override {
        mVariables.clear();
        InitDebugLog();
    }
    void Set(const char* name, const std::string& value) { mVariables.emplace_back(name, value.c_str()); }
    void LogTo(const fs::path& path) {
        Set("TARVEX_DEBUG_LOG", path.string());
        InitDebugLog();
    }
    std::string Logged() const { return ReadText(mFolder / "log"); }

    test_support::CTempFolder mFolder;
    std::list<CVariable>      mVariables;
};

TEST_F(DebugLogTest, WritesNothingUnlessAsked) {
    EXPECT_FALSE(IsDebugLogOpen());
    ::testing::internal::CaptureStdout();
    TESSEL_LOG(0, L"nothing\n");
    ListEnvironment();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    LogTo(mFolder / "no folder" / "log");
    EXPECT_FALSE(IsDebugLogOpen());
    DebugLog(0, L"nothing\n");
    LogTo("");
    EXPECT_FALSE(IsDebugLogOpen());
}

TEST_F(DebugLogTest, WritesToStandardOutput) {
    for (const char* target : {"stdout", "STDOUT"}) {
        LogTo(target);
        EXPECT_TRUE(IsDebugLogOpen());
        ::testing::internal::CaptureStdout();
        DebugLog(0, L"%ls %d\n", L"line", 1);
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), "line 1\n") << target;
    }
    EXPECT_FALSE(fs::exists("stdout"));
}

TEST_F(DebugLogTest, HoldsALineUntilItIsWhole) {
    LogTo(mFolder / "log");
    DebugLog(0, L"a");
    DebugLog(0, L"b");
    EXPECT_EQ(Logged(), "");
    DebugLog(0, L"c\n\nd\ne");
    EXPECT_EQ(Logged(), "abc\n\nd\n");
    test_support::RunOnThread([] { DebugLog(0, L"other\n"); });
    DebugLog(0, L"\n");
    EXPECT_EQ(Logged(), "abc\n\nd\nother\ne\n");
}

TEST_F(DebugLogTest, AppendsAndSharesItsFile) {
    mFolder.Write("log", "before\n");
    LogTo(mFolder / "log");
    DebugLog(0, L"one\n");
    std::ofstream(mFolder / "log", std::ios::app) << "another\n";
    DebugLog(0, L"two\n");
    EXPECT_EQ(Logged(), "before\none\nanother\ntwo\n");
}

TEST_F(DebugLogTest, SelectsByLevel) {
    struct CRow {
        const char* mFirst;
        const char* mSecond;
        const char* mLogged;
    };
    constexpr CRow kRows[] = {
        {nullptr, nullptr, "0\n"},  {"2", nullptr, "0\n[1] \t1\n[2] \t2\n"}, {nullptr, "1", "0\n[1] \t1\n"},
        {"1", "9", "0\n[1] \t1\n"}, {"much", "1", "0\n[1] \t1\n"},           {"much", "more", "0\n"},
        {"-1", nullptr, ""},
    };
    for (const CRow& row : kRows) {
        const CVariable first("TARVEX_DEBUG_MODE", row.mFirst);
        const CVariable second("BRANTOR_DEBUG_MODE", row.mSecond);
        fs::remove(mFolder / "log");
        LogTo(mFolder / "log");
        for (int level = 0; level < 4; ++level)
            DebugLog(level, L"%d\n", level);
        EXPECT_EQ(Logged(), row.mLogged) << &row - kRows;
    }
}

TEST_F(DebugLogTest, SelectsBySourceFile) {
    Set("TARVEX_DEBUG_FILE", "first.cpp;second.cpp");
    Set("TARVEX_DEBUG_VERBOSE", "");
    LogTo(mFolder / "log");
    for (const char* file : {"/src/first.cpp", "C:\\src\\second.cpp", "third.cpp"}) {
        SetDebugLogSource(file, 12);
        DebugLog(0, L"from %hs\n", file);
        DebugLog(0, L"unknown\n");  // the place counts for one message only
    }
    SetDebugLogSource("first.cpp", 0);
    DebugLog(0, L"no line\n");
    EXPECT_EQ(Logged(),
              "first.cpp(12) : \tfrom /src/first.cpp\nunknown\n"
              "second.cpp(12) : \tfrom C:\\src\\second.cpp\nunknown\nunknown\n"
              "first.cpp : \tno line\n");
}

TEST_F(DebugLogTest, TakesItsOptionsFromThePrograms) {
    LogTo(mFolder / "log");
    SetDebugLogOptions(3, true, "debug_log_test.cpp");
    const std::string line = std::to_string(__LINE__ + 1);
    TESSEL_LOG(3, L"a\nb\n");
    SetDebugLogOptions(3, false);  // keeps the filter
    SetDebugLogSource("other.cpp", 1);
    DebugLog(3, L"dropped\n");
    SetDebugLogOptions(0, false, "");
    TESSEL_LOG(1, L"dropped\n");
    const std::string prefix = "debug_log_test.cpp(" + line + ") : [3] \t";
    EXPECT_EQ(Logged(), prefix + "a\n" + prefix + "b\n");
}

TEST_F(DebugLogTest, SeparatesProgramsAndProcesses) {
    const std::string id = std::to_string(platform::ProcessId());
    struct CRow {
        const char* mSeparate;
        const char* mNoPid;
        std::string mName;
    };
    const CRow kRows[] = {
        {"", nullptr, "log_baseutils_test_" + id + ".log"},
        {"yes", "1", "log_baseutils_test_" + id + ".log"},
        {nullptr, "1", "log_baseutils_test_.log"},
        {nullptr, "2", "log"},
    };
    for (const CRow& row : kRows) {
        const CVariable separate("TARVEX_DEBUG_LOG_SEPARATE", row.mSeparate);
        const CVariable noPid("TARVEX_DEBUG_LOG_SEPARATE_NO_PID", row.mNoPid);
        LogTo(mFolder / "log");
        DebugLog(0, L"x\n");
        EXPECT_EQ(ReadText(mFolder / row.mName), "x\n") << row.mName;
        InitDebugLog();
        fs::remove(mFolder / row.mName);
    }
    Set("BRANTOR_DEBUG_LOG", (mFolder / "second").string());
    InitDebugLog();
    DebugLog(0, L"first wins\n");
    EXPECT_EQ(Logged(), "first wins\n");
    test_support::SetVariable("TARVEX_DEBUG_LOG", nullptr);
    InitDebugLog();
    DebugLog(0, L"second\n");
    EXPECT_EQ(ReadText(mFolder / "second"), "second\n");
}

TEST_F(DebugLogTest, ListsTheEnvironment) {
    Set("TARVEX_TEST_ENTRY", "some value");
    LogTo(mFolder / "log");
    DebugLogSeparator();
    ListEnvironment();
    const std::string text = Logged();
    EXPECT_TRUE(text.starts_with("=====\n-------- Start of Environment Listing --------\n"));
    EXPECT_NE(text.find("\nTARVEX_TEST_ENTRY=some value\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with("\n-------- End of Environment Listing --------\n"));
    EXPECT_EQ(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')),
              platform::ListEnvironment().size() + 3);
}

TEST_F(DebugLogTest, ReportsTheRetiredEntryPoint) {
    CRecordedAssertions assertions;
    SetDebugLogFile("x");
    EXPECT_EQ(assertions.Take(), std::vector<std::string>{"!\"This function is not to be used anymore\""});
}

/// A text with every digit, capital and small letter replaced by one of its kind.
std::string Shape(std::string text) {
    for (char& ch : text)
        ch = ch >= '0' && ch <= '9' ? '0' : ch >= 'A' && ch <= 'Z' ? 'A' : ch >= 'a' && ch <= 'z' ? 'a' : ch;
    return text;
}

// In a process of its own: the settings are read when it starts, the time switch with the first line.
TEST(DebugLogAtStart, CarriesTheTime) {
    if (child_process::IsChild()) {
        test_support::SetVariable("TARVEX_DEBUG_LOG", nullptr);
        DebugLog(0, L"one\n");
        test_support::SetVariable("TARVEX_DEBUG_LOG_TIMESTAMP", nullptr);
        DebugLog(2, L"two\n");
        std::exit(30);
    }
    const test_support::CTempFolder folder;
    const CVariable                 log("TARVEX_DEBUG_LOG", (folder / "log").string().c_str());
    const CVariable                 level("TARVEX_DEBUG_MODE", "2");
    const CVariable                 time("TARVEX_DEBUG_LOG_TIMESTAMP", "");
    EXPECT_EQ(child_process::RunThisTest(), 30);
    EXPECT_EQ(Shape(ReadText(folder / "log")),
              Shape("(11:22:33 PM  Nov 21, 2026) \tone\n[2] (01:02:03 AM  May 01, 2027) \ttwo\n"));
}

}  // namespace
