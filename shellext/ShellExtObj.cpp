#include "shellext/ShellExtObj.h"

#include "shellext/Guard.h"
#include "tessel/strings/astringwchar.h"
#include "viewkit/tools/InfoTip.h"
#include "viewkit/tools/ProjectPreviewHelper.h"

namespace {

/// Copies narrow text into memory that the shell frees. The thread's own code page decides.
HRESULT CopyToShellMemory(const std::string& text, PWSTR* copy) {
    IMalloc* allocator = nullptr;
    if (FAILED(SHGetMalloc(&allocator))) return E_FAIL;
    auto* block = static_cast<wchar_t*>(allocator->Alloc((text.size() + 1) * sizeof(wchar_t)));
    allocator->Release();
    if (block == nullptr) return E_OUTOFMEMORY;

    const int bytes  = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), bytes, block, bytes);

    block[length] = L'\0';  // there is room: no code page makes more units than there were bytes
    *copy         = block;
    return S_OK;
}

}  // namespace

/// IPersist is left out on purpose: its one operation, the class id, is not there.
std::span<const CInterfaceEntry<CShellExtObj>> CShellExtObj::InterfaceMap() noexcept {
    static constexpr CInterfaceEntry<CShellExtObj> kMap[] = {
        {&IID_IExtractImage2, BaseOf<CShellExtObj, IExtractImage2>},
        {&IID_IExtractImage, BaseOf<CShellExtObj, IExtractImage2>},
        {&IID_IPersistFile, BaseOf<CShellExtObj, IPersistFile>},
        {&IID_IQueryInfo, BaseOf<CShellExtObj, IQueryInfo>},
    };
    return kMap;
}

/// Characters that the code page lacks are lost here; such a file is not found later.
STDMETHODIMP CShellExtObj::Load(LPCOLESTR fileName, DWORD) {
    if (fileName == nullptr) return E_INVALIDARG;
    return Guard({}, [&] {
        m_filePath = AString(fileName).ToNarrow();
        return S_OK;
    });
}

STDMETHODIMP CShellExtObj::GetInfoTip(DWORD, PWSTR* text) {
    return Guard({text}, [&] {
        *text = nullptr;
        return CopyToShellMemory(ComposeInfoTip(m_filePath), text);
    });
}

STDMETHODIMP CShellExtObj::GetLocation(PWSTR, DWORD, DWORD* priority, const SIZE*, DWORD, DWORD* flags) {
    return Guard({flags}, [&] {
        const bool background = (*flags & IEIFLAG_ASYNC) != 0;
        if (background && priority == nullptr) return E_POINTER;
        *flags |= IEIFLAG_CACHE | IEIFLAG_REFRESH;
        if (!background) return S_OK;
        *priority = IEIT_PRIORITY_NORMAL;
        return E_PENDING;
    });
}

STDMETHODIMP CShellExtObj::Extract(HBITMAP* bitmap) {
    return Guard({bitmap}, [&] {
        const AString                path = ProjectPreviewHelper::ExistingProjectPath(m_filePath.c_str());
        const platform::NativeBitmap thumbnail = ProjectPreviewHelper::GetProjectThumbnail(path);
        if (thumbnail == nullptr) return E_FAIL;
        *bitmap = static_cast<HBITMAP>(thumbnail);
        return S_OK;
    });
}

STDMETHODIMP CShellExtObj::GetDateStamp(FILETIME* dateStamp) {
    return Guard({dateStamp}, [&] {
        WIN32_FILE_ATTRIBUTE_DATA attributes;
        if (!GetFileAttributesExA(m_filePath.c_str(), GetFileExInfoStandard, &attributes)) return E_FAIL;
        *dateStamp = attributes.ftLastWriteTime;
        return S_OK;
    });
}
