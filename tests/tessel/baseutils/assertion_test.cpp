#include "tessel/baseutils/assertion.h"

#include "tessel/baseutils/assertion_dialog.h"
#include "tessel/baseutils/child_process.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using platform::EBoxAnswer;
using platform::EBoxButtons;
using platform::EBoxIcon;

std::vector<EBoxAnswer>  gAnswers;  ///< what the user clicks, one for each box
std::vector<std::string> gBoxes;    ///< what the user saw

EBoxAnswer Click(const char* text, EBoxIcon icon, EBoxButtons buttons) noexcept {
    const char* const icons[] = {"stop", "question", "exclamation"};
    gBoxes.push_back(std::string(icons[static_cast<int>(icon)]) +
                     (buttons == EBoxButtons::kYesNo ? " yes/no: " : " abort/retry/ignore: ") + text);
    return gBoxes.size() <= gAnswers.size() ? gAnswers[gBoxes.size() - 1] : EBoxAnswer::kOther;
}

/// Assertions are on, and a user who clicks what he is told sits before the boxes.
class Assertion : public ::testing::Test {
  protected:
    Assertion() : mDisabled(AssertionsDisabled()) {
        SetBoxAsker(&Click);
        SetAssertionsDisabled(false);
        UserClicks({});
    }
    ~Assertion() override {
        SetBoxAsker(nullptr);
        SetAssertHandler(nullptr);
        SetAssertionsDisabled(mDisabled);
    }
    static void UserClicks(std::vector<EBoxAnswer> answers) {
        gAnswers = std::move(answers);
        gBoxes.clear();
    }

  private:
    bool mDisabled;
};

TEST(UseAssert, FollowsTheEnvironment) {
    constexpr int kOn = 10, kOff = 11;
    if (child_process::IsChild()) {
        bool evaluated = false;
        SetAssertHandler([](const char*, unsigned, const char*, bool*) { return 0; });
        TESSEL_ASSERT((evaluated = true) && false);
        std::exit(UseAssert() == evaluated && AssertionsDisabled() == !UseAssert() ? (evaluated ? kOn : kOff)
                                                                                   : 12);
    }
    struct CRow {
        const char* mValue;
        int         mStatus;
    };
    for (const CRow& row : {CRow{nullptr, kOff}, CRow{"TRUE", kOn}, CRow{"true", kOn}, CRow{"True", kOn},
                            CRow{"1", kOff}, CRow{"", kOff}, CRow{"TRUE ", kOff}, CRow{"yes", kOff}}) {
        const test_support::CVariable variable("USE_ASSERT", row.mValue);
        EXPECT_EQ(child_process::RunThisTest(), row.mStatus)
            << (row.mValue != nullptr ? row.mValue : "unset");
    }
}

TEST_F(Assertion, AnswersAsTheUserClicks) {
    struct CRow {
        std::vector<EBoxAnswer> mClicks;
        int                     mAnswer;
        bool                    mSiteIgnored, mAllDisabled;
    };
    const CRow kRows[] = {
        {{EBoxAnswer::kRetry}, 3, false, false},
        {{EBoxAnswer::kIgnore, EBoxAnswer::kNo}, 0, false, false},
        {{EBoxAnswer::kIgnore, EBoxAnswer::kOther}, 0, false, false},
        {{EBoxAnswer::kIgnore, EBoxAnswer::kYes, EBoxAnswer::kNo}, 1, true, false},
        {{EBoxAnswer::kIgnore, EBoxAnswer::kYes, EBoxAnswer::kYes}, 2, false, true},
    };
    for (const CRow& row : kRows) {
        UserClicks(row.mClicks);
        SetAssertionsDisabled(false);
        bool site = false;
        EXPECT_EQ(AssertFailed("file.cpp", 12, "a == b", &site), row.mAnswer);
        EXPECT_EQ(gBoxes.size(), row.mClicks.size());
        EXPECT_EQ(site, row.mSiteIgnored);
        EXPECT_EQ(AssertionsDisabled(), row.mAllDisabled);
    }
}

TEST_F(Assertion, AsksInThreeBoxes) {
    UserClicks({EBoxAnswer::kIgnore, EBoxAnswer::kYes, EBoxAnswer::kNo});
    bool site = false;
    AssertFailed("file.cpp", 12, "a == b", &site);
    EXPECT_EQ(gBoxes, (std::vector<std::string>{
                          "stop abort/retry/ignore: *** ASSERTION FAILURE ***\nAssertion 'a == b' failed\n"
                          " File 'file.cpp', Line# 12\n\nAbort - abort, Retry - debug, Ignore - continue",
                          "question yes/no: Ignore THIS Assert in the future?",
                          "exclamation yes/no: *** Ignore ALL Asserts in the future? ***"}));
}

TEST_F(Assertion, ShowsLongFileNamesAndExpressionsWithinReason) {
    const std::string longest(400, 'f');
    for (const std::string& file : {longest, longest + "f", std::string(100000, 'f')}) {
        UserClicks({EBoxAnswer::kRetry});
        bool site = false;
        AssertFailed(file.c_str(), 1, std::string(100000, 'e').c_str(), &site);
        const std::string shown = file.size() <= 400 ? file : "(file name too long)";
        EXPECT_NE(gBoxes[0].find("File '" + shown + "', Line# 1\n\nAbort"), std::string::npos) << file.size();
        EXPECT_NE(gBoxes[0].find("Assertion 'eeee"), std::string::npos);
        EXPECT_EQ(gBoxes[0].find("(expression too long)"), std::string::npos);
    }
}

TEST_F(Assertion, AbortEndsTheProcess) {
    const std::vector<EBoxAnswer> kEnding = {EBoxAnswer::kAbort, EBoxAnswer::kOther};
    const char* const             which   = std::getenv("TARVEX_TEST_ANSWER");
    if (child_process::IsChild()) {
        UserClicks({kEnding[static_cast<std::size_t>(std::atoi(which))]});
        std::atexit([] {
            if (!AssertionsDisabled()) std::_Exit(20);
        });
        bool site = false;
        AssertFailed("file.cpp", 12, "a == b", &site);
        std::exit(0);
    }
    for (const char* answer : {"0", "1"}) {
        const test_support::CVariable variable("TARVEX_TEST_ANSWER", answer);
        EXPECT_EQ(child_process::RunThisTest(), 1) << answer;
    }
}

void FailHere(int times) {
    for (int i = 0; i < times; ++i)
        TESSEL_ASSERT_TEXT(i < 0, "here");
}
void FailElsewhere() {
    TESSEL_ASSERT(gBoxes.size() == 12345);
}

TEST_F(Assertion, SilencesOneSiteOrAll) {
    UserClicks({EBoxAnswer::kIgnore, EBoxAnswer::kYes, EBoxAnswer::kNo, EBoxAnswer::kRetry,
                EBoxAnswer::kIgnore, EBoxAnswer::kYes, EBoxAnswer::kYes});
    FailHere(3);
    EXPECT_EQ(gBoxes.size(), 3u);  // asked for the first only
    FailElsewhere();
    EXPECT_EQ(gBoxes.size(), 4u);
    EXPECT_NE(gBoxes[3].find("Assertion 'gBoxes.size() == 12345' failed"), std::string::npos);
    FailElsewhere();
    EXPECT_TRUE(AssertionsDisabled());
    FailElsewhere();
    EXPECT_EQ(gBoxes.size(), 7u);
}

TEST_F(Assertion, GoesToAnInstalledHandlerInstead) {
    static unsigned line = 0;
    static bool*    site = nullptr;
    EXPECT_EQ(SetAssertHandler([](const char* file, unsigned failedLine, const char* expression, bool* flag) {
                  line = std::string(file) == "file.cpp" && std::string(expression) == "x" ? failedLine : 0;
                  site = flag;
                  return 4;  // handed back, not acted on
              }),
              nullptr);
    bool flag = false;
    EXPECT_EQ(AssertFailed("file.cpp", 7, "x", &flag), 4);
    EXPECT_EQ(line, 7u);
    EXPECT_EQ(site, &flag);
    EXPECT_TRUE(gBoxes.empty());
    EXPECT_FALSE(AssertionsDisabled());
    EXPECT_NE(SetAssertHandler(nullptr), nullptr);
    EXPECT_EQ(SetAssertHandler(nullptr), nullptr);
}

}  // namespace
