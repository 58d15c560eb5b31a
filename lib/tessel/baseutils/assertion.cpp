#include "tessel/baseutils/assertion.h"

#include "tessel/baseutils/assertion_dialog.h"
#include "tessel/baseutils/utilfuncs.h"
#include "tessel/platform/platform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// False until the environment has been read, so that nothing is checked before.
bool assertion_detail::gEnabled = UseAssert();

namespace {

AssertHandler gHandler = nullptr;
BoxAsker      gAsk     = &platform::ShowMessageBox;

bool IsWantedByEnvironment() {
    std::string value;
    return platform::GetEnvironment("USE_ASSERT", &value) && EqualsNoCase(value, "TRUE");
}

EAssertAnswer AskWhatToIgnore() {
    using platform::EBoxAnswer, platform::EBoxButtons, platform::EBoxIcon;
    if (gAsk("Ignore THIS Assert in the future?", EBoxIcon::kQuestion, EBoxButtons::kYesNo) !=
        EBoxAnswer::kYes)
        return kAssertContinue;
    return gAsk("*** Ignore ALL Asserts in the future? ***", EBoxIcon::kExclamation, EBoxButtons::kYesNo) ==
                   EBoxAnswer::kYes
               ? kAssertIgnoreAll
               : kAssertIgnoreSite;
}

EAssertAnswer AskUser(const char* file, unsigned line, const char* expression) {
    // Only the file's name is measured: an over-long expression is shown, as much as fits.
    constexpr std::size_t kLongestFileName   = 400;
    constexpr int         kLongestExpression = 3000;
    if (std::strlen(file) > kLongestFileName) file = "(file name too long)";

    char text[4096];
    std::snprintf(text, sizeof text,
                  "*** ASSERTION FAILURE ***\nAssertion '%.*s' failed\n File '%s', Line# %d\n\n"
                  "Abort - abort, Retry - debug, Ignore - continue",
                  kLongestExpression, expression, file, static_cast<int>(line));
    switch (gAsk(text, platform::EBoxIcon::kStop, platform::EBoxButtons::kAbortRetryIgnore)) {
        case platform::EBoxAnswer::kRetry:
            return kAssertDebug;
        case platform::EBoxAnswer::kIgnore:
            return AskWhatToIgnore();
        default:
            return kAssertAbort;
    }
}

}  // namespace

AssertHandler SetAssertHandler(AssertHandler handler) noexcept {
    const AssertHandler previous = gHandler;
    gHandler                     = handler;
    return previous;
}

BoxAsker SetBoxAsker(BoxAsker asker) noexcept {
    const BoxAsker previous = gAsk;
    gAsk                    = asker != nullptr ? asker : &platform::ShowMessageBox;
    return previous;
}

int AssertFailed(const char* file, unsigned line, const char* expression, bool* siteFlag) {
    if (gHandler != nullptr) return gHandler(file, line, expression, siteFlag);
    const EAssertAnswer answer = AskUser(file, line, expression);
    switch (answer) {
        case kAssertContinue:
        case kAssertDebug:
            break;
        case kAssertIgnoreSite:
            *siteFlag = true;
            break;
        case kAssertIgnoreAll:
            SetAssertionsDisabled(true);
            break;
        case kAssertAbort:
            SetAssertionsDisabled(true);
            std::exit(1);
    }
    return answer;
}

bool UseAssert() noexcept {
    // No guarded static: the first call is made while the module is being loaded.
    static bool computed = false;
    static bool wanted   = false;
    if (!computed) {
        wanted   = IsWantedByEnvironment();
        computed = true;
    }
    return wanted;
}

void SetAssertionsDisabled(bool disabled) noexcept {
    assertion_detail::gEnabled = !disabled;
}
