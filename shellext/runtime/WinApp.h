#pragma once

#include <windows.h>

/// The DLL's application object: one global instance, alive from load to unload.
class CWinApp {
  public:
    CWinApp() noexcept;
    CWinApp(const CWinApp&)            = delete;
    CWinApp& operator=(const CWinApp&) = delete;

  protected:
    ~CWinApp();
};

/// Null before the application object is made and after it is gone.
CWinApp* AfxGetApp() noexcept;

/// `S_OK` while the application object lives: there is nothing in it that could keep the DLL. While
/// the DLL is just being loaded or unloaded the answer is `S_FALSE`.
HRESULT AfxDllCanUnloadNow() noexcept;
