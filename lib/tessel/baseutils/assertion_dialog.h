#pragma once

#include "tessel/platform/platform.h"

/// The inside of the assertion handler, for itself and its tests.

/// Asks one message box; `platform::ShowMessageBox` unless a test puts itself in its place.
using BoxAsker = platform::EBoxAnswer (*)(const char* text, platform::EBoxIcon icon,
                                          platform::EBoxButtons buttons) noexcept;

/// Installs an asker; null restores the real box. Returns the previous one.
BoxAsker SetBoxAsker(BoxAsker asker) noexcept;

/// What the user chose to do about a failed assertion. The numbers are those that `AssertFailed` answers.
enum EAssertAnswer {
    kAssertContinue   = 0,
    kAssertIgnoreSite = 1,
    kAssertIgnoreAll  = 2,
    kAssertDebug      = 3,
    kAssertAbort      = 4,
};
