#include "shellext/runtime/WinApp.h"

namespace {
CWinApp* gApp = nullptr;
}

CWinApp::CWinApp() noexcept {
    gApp = this;
}

CWinApp::~CWinApp() {
    gApp = nullptr;
}

CWinApp* AfxGetApp() noexcept {
    return gApp;
}

HRESULT AfxDllCanUnloadNow() noexcept {
    return AfxGetApp() != nullptr ? S_OK : S_FALSE;
}
