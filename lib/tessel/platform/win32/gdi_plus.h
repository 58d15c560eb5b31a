#pragma once

#include <windows.h>

#include <objidl.h>  // has PROPID, which gdiplus.h uses without asking for it

#include <gdiplus.h>

namespace platform {

/// GDI+ for the time of one conversion: nothing of it stays alive in the process that hosts us.
class CGdiPlus {
  public:
    CGdiPlus() noexcept {
        Gdiplus::GdiplusStartupInput input;  // version 1, no debug callback, background thread kept
        mStarted = Gdiplus::GdiplusStartup(&mToken, &input, nullptr) == Gdiplus::Ok;
    }
    ~CGdiPlus() {
        if (mStarted) Gdiplus::GdiplusShutdown(mToken);
    }
    CGdiPlus(const CGdiPlus&)            = delete;
    CGdiPlus& operator=(const CGdiPlus&) = delete;

    bool Started() const noexcept { return mStarted; }

  private:
    ULONG_PTR mToken   = 0;
    bool      mStarted = false;
};

}  // namespace platform
