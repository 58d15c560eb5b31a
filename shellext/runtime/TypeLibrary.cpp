#include "shellext/runtime/TypeLibrary.h"

#include "shellext/runtime/ModuleFile.h"
#include "shellext/runtime/RegObject.h"

#include <oleauto.h>

#include <memory>
#include <string>

namespace {

using RegisterCall   = decltype(&RegisterTypeLib);
using UnregisterCall = decltype(&UnRegisterTypeLib);

struct CReleaser {
    void operator()(IUnknown* object) const noexcept { object->Release(); }
};
using CTypeLibPtr = std::unique_ptr<ITypeLib, CReleaser>;

/// The per-user form of a call when it is wanted and the system has it, else the call itself.
template <class Call>
Call ForThisUser(Call call, const char* perUserName) noexcept {
    if (!AtlGetPerUserRegistration()) return call;
    const HMODULE automation = GetModuleHandleW(L"OLEAUT32.DLL");
    if (automation == nullptr) return call;
    void* const perUser = reinterpret_cast<void*>(GetProcAddress(automation, perUserName));
    return perUser != nullptr ? reinterpret_cast<Call>(perUser) : call;
}

HRESULT LoadLibraryOf(const std::wstring& path, CTypeLibPtr* library) {
    ITypeLib*     found  = nullptr;
    const HRESULT result = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &found);
    library->reset(found);
    return result;
}

std::wstring FolderOf(const std::wstring& path) {
    return path.substr(0, path.find_last_of(L"\\/"));
}

}  // namespace

HRESULT AtlRegisterTypeLib(HMODULE module) {
    std::wstring  path = ModuleFilePath(module);
    CTypeLibPtr   library;
    const HRESULT result = LoadLibraryOf(path, &library);
    if (FAILED(result)) return result;

    // Both texts are declared as writable; the call only reads them.
    const RegisterCall call   = ForThisUser<RegisterCall>(RegisterTypeLib, "RegisterTypeLibForUser");
    std::wstring       folder = FolderOf(path);
    return call(library.get(), path.data(), folder.data());
}

HRESULT AtlUnRegisterTypeLib(HMODULE module) {
    CTypeLibPtr library;
    HRESULT     result = LoadLibraryOf(ModuleFilePath(module), &library);
    if (FAILED(result)) return result;

    TLIBATTR* attributes = nullptr;
    result               = library->GetLibAttr(&attributes);
    if (FAILED(result)) return result;
    const UnregisterCall call = ForThisUser<UnregisterCall>(UnRegisterTypeLib, "UnRegisterTypeLibForUser");
    result = call(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum, attributes->lcid,
                  attributes->syskind);
    library->ReleaseTLibAttr(attributes);
    return result;
}
