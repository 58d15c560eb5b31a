#pragma once

#include <windows.h>

#include <string>

/// Lets nobody change a key, nor what is below it, while it lives; reading is allowed.
class CReadOnlyKey {
  public:
    /// @param view  flag of the registry's view; 0: this program's own.
    CReadOnlyKey(HKEY root, const std::wstring& name, REGSAM view = 0);
    ~CReadOnlyKey();
    CReadOnlyKey(const CReadOnlyKey&)            = delete;
    CReadOnlyKey& operator=(const CReadOnlyKey&) = delete;

  private:
    HKEY mKey = nullptr;
    alignas(SECURITY_DESCRIPTOR) unsigned char mBefore[4096];
};
