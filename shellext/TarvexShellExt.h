#pragma once

#include "shellext/runtime/AtlModule.h"
#include "shellext/runtime/WinApp.h"

/// The DLL's application object.
class CTarvexShellExtApp final : public CWinApp {};

/// The COM module: one class, one AppID, one type library.
class CTarvexShellExtModule final : public CAtlDllModuleT<CTarvexShellExtModule> {
  public:
    CTarvexShellExtModule() noexcept;

    /// Runs the script that registers the DLL's AppID.
    static HRESULT UpdateRegistryAppId(bool registering);
};
