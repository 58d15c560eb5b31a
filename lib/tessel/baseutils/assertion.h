#pragma once

/// Assertions that report and go on.
///
/// They are off unless the environment variable USE_ASSERT is "TRUE" (any case) when the process
/// starts. A failed assertion never throws and never changes data: the code after it must cope.

/// Routes failures elsewhere instead of the dialog.
/// @param file, line  the call site, 1-based line
/// @param expression  the text of what did not hold
/// @param siteFlag    set it to silence this call site for the life of the process
/// @return an answer 0..4 as the dialog gives it; handed back by `AssertFailed`, not acted on
using AssertHandler = int (*)(const char* file, unsigned line, const char* expression, bool* siteFlag);

/// Installs a handler; null restores the dialog. Returns the previous one.
AssertHandler SetAssertHandler(AssertHandler handler) noexcept;

/// Reports a failed assertion to the handler, or asks the user and acts on the answer.
int AssertFailed(const char* file, unsigned line, const char* expression, bool* siteFlag);

/// Whether the environment asks for assertions; read once.
bool UseAssert() noexcept;

namespace assertion_detail {
extern bool gEnabled;
}

/// True while no assertion is checked at all. Starts as the opposite of `UseAssert()`.
inline bool AssertionsDisabled() noexcept {
    return !assertion_detail::gEnabled;
}
void SetAssertionsDisabled(bool disabled) noexcept;

/// Checks `condition` and reports `text` when it does not hold. A switched-off assertion does not
/// evaluate its condition.
#define TESSEL_ASSERT_TEXT(condition, text)                              \
    do {                                                                 \
        static bool tesselIgnoreSite = false;                            \
        if (!tesselIgnoreSite && !AssertionsDisabled() && !(condition))  \
            AssertFailed(__FILE__, __LINE__, (text), &tesselIgnoreSite); \
    } while (false)

#define TESSEL_ASSERT(condition) TESSEL_ASSERT_TEXT(condition, #condition)
