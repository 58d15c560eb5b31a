#pragma once

#include "shellext/ServerIds.h"
#include "shellext/runtime/ComObject.h"

#include <shlobj.h>
#include <windows.h>

#include <span>
#include <string>

/// What the shell creates for one project file: bound to the file's path, it answers with an info
/// tip and a thumbnail. It keeps nothing but the path; every call opens and closes the file.
class CShellExtObj : public CComObjectRootEx<CComSingleThreadModel>,
                     public CComCoClass<CShellExtObj, &CLSID_TarvexShellExtObj>,
                     public IPersistFile,
                     public IQueryInfo,
                     public IExtractImage2 {
  public:
    static std::span<const CInterfaceEntry<CShellExtObj>> InterfaceMap() noexcept;
    /// Runs the class script.
    static HRESULT UpdateRegistry(bool registering);

    // IPersistFile: only Load is there.
    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
    STDMETHODIMP IsDirty() override { return E_NOTIMPL; }
    STDMETHODIMP Load(LPCOLESTR fileName, DWORD mode) override;
    STDMETHODIMP Save(LPCOLESTR, BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP SaveCompleted(LPCOLESTR) override { return E_NOTIMPL; }
    STDMETHODIMP GetCurFile(LPOLESTR*) override { return E_NOTIMPL; }

    // IQueryInfo
    STDMETHODIMP GetInfoTip(DWORD flags, PWSTR* text) override;
    STDMETHODIMP GetInfoFlags(DWORD*) override { return E_NOTIMPL; }

    // IExtractImage: the bitmap has the stored picture's own size, whatever size is asked for.
    STDMETHODIMP GetLocation(PWSTR pathBuffer, DWORD size, DWORD* priority, const SIZE* requestedSize,
                             DWORD depth, DWORD* flags) override;
    STDMETHODIMP Extract(HBITMAP* bitmap) override;

    // IExtractImage2
    STDMETHODIMP GetDateStamp(FILETIME* dateStamp) override;

  protected:
    ~CShellExtObj() = default;

  private:
    std::string m_filePath;  ///< in the ANSI code page; empty until Load
};
