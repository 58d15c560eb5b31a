#include "tessel/baseutils/utilfuncs.h"

#include <gtest/gtest.h>

namespace {

TEST(UtilFuncs, CompareWithoutCase) {
    EXPECT_TRUE(EqualsNoCase("", ""));
    EXPECT_TRUE(EqualsNoCase("StdOut", "stdout"));
    EXPECT_FALSE(EqualsNoCase("stdout", "stdout "));
    EXPECT_FALSE(EqualsNoCase("[", "{"));
    EXPECT_FALSE(EqualsNoCase("\xC4", "\xE4"));
}

TEST(UtilFuncs, TakePathsApart) {
    struct CRow {
        const char* mPath;
        const char* mName;
        const char* mStem;
    };
    constexpr CRow kRows[] = {
        {"", "", ""},
        {"prog", "prog", "prog"},
        {"/usr/bin/prog.exe", "prog.exe", "prog"},
        {"C:\\Some.Folder/prog", "prog", "prog"},
        {"a.b/c.tar.gz", "c.tar.gz", "c.tar"},
        {"/x/.hidden", ".hidden", ".hidden"},
        {"/x/", "", ""},
    };
    for (const CRow& row : kRows) {
        EXPECT_EQ(FileNameOf(row.mPath), row.mName) << row.mPath;
        EXPECT_EQ(FileStemOf(row.mPath), row.mStem) << row.mPath;
    }
}

}  // namespace
