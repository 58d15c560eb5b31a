#include "tessel/strings/astring_util.h"
#include "tessel/baseutils/recorded_assertions.h"
#include "tessel/strings/astring_observer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// The pieces, each in brackets.
std::wstring Pieces(const wchar_t* text, const wchar_t* delimiters, bool keepDelimiters) {
    std::vector<AString> pieces{L"before"};
    const std::size_t    count = Tokenize(text, delimiters, pieces, keepDelimiters);
    EXPECT_EQ(count + 1, pieces.size());
    std::wstring all;
    for (std::size_t i = 1; i < pieces.size(); ++i)
        all += L"[" + pieces[i].Str() + L"]";
    return all;
}

TEST(Tokenize, CutsAtEveryDelimiter) {
    struct CRow {
        const wchar_t* mText;
        const wchar_t* mDelimiters;
        const wchar_t* mPieces;
        const wchar_t* mWithDelimiters;
    };
    constexpr CRow kRows[] = {
        {L"a,,b,", L",", L"[a][][b][]", L"[a][,][][,][b][,][]"},
        {L"", L",", L"", L""},
        {L",", L",", L"[][]", L"[][,][]"},
        {L"abc", L",", L"[abc]", L"[abc]"},
        {L"abc", L"", L"[abc]", L"[abc]"},
        {L"a b;c", L"; ", L"[a][b][c]", L"[a][ ][b][;][c]"},
    };
    for (const CRow& row : kRows) {
        EXPECT_EQ(Pieces(row.mText, row.mDelimiters, false), row.mPieces);
        EXPECT_EQ(Pieces(row.mText, row.mDelimiters, true), row.mWithDelimiters);
    }
    std::vector<AString> pieces;
    EXPECT_EQ(Tokenize(AString(L"a\0b,c", 5), AString(L","), pieces), 2u);
    EXPECT_EQ(pieces[0], AString(L"a\0b", 3));
}

TEST(Tokenize, ReportsNullText) {
    CRecordedAssertions  assertions;
    std::vector<AString> pieces;
    EXPECT_EQ(Tokenize(nullptr, L",", pieces), 0u);
    EXPECT_EQ(assertions.Take(), std::vector<std::string>{"string != 0"});
}

TEST(Observer, SeesTheCallsBeforeTheyWork) {
    static std::wstring seen;
    EXPECT_EQ(SetAStringObserver([](const CStringCall& call) {
                  seen += std::to_wstring(call.mOperation) + L":" + std::wstring(call.mText) + L"/" +
                          std::wstring(call.mOther) + L"/" + std::to_wstring(call.mPos) + L"," +
                          std::to_wstring(call.mCount) + L"/" +
                          (call.mPieces != nullptr ? std::to_wstring(call.mPieces->size()) : L"-") +
                          (call.mKeepDelimiters ? L"k " : L" ");
              }),
              nullptr);
    const AString        text(L"ab");
    std::vector<AString> pieces(3);
    text.Compare(L"x");
    text.CompareNoCase(L"y");
    text.CompareNoCase(1, 2, L"z");
    Tokenize(text, L",", pieces, true);
    EXPECT_NE(SetAStringObserver(nullptr), nullptr);
    text.Compare(L"unseen");
    EXPECT_EQ(seen, L"0:ab/x/0,0/- 1:ab/y/0,0/- 2:ab/z/1,2/- 3:ab/,/0,0/3k ");
}

}  // namespace
