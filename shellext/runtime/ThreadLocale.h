#pragma once

#include <windows.h>

/// Gives the calling thread another locale for the life of this object.
class CThreadLocale {
  public:
    explicit CThreadLocale(LCID locale) noexcept : mSaved(GetThreadLocale()) { SetThreadLocale(locale); }
    ~CThreadLocale() { SetThreadLocale(mSaved); }
    CThreadLocale(const CThreadLocale&)            = delete;
    CThreadLocale& operator=(const CThreadLocale&) = delete;

  private:
    LCID mSaved;
};
