#include "shellext/runtime/ClassCategories.h"

namespace {

using CategoryOperation = HRESULT (STDMETHODCALLTYPE ICatRegister::*)(REFCLSID, ULONG, CATID*);

HRESULT UpdateCategories(REFCLSID classId, std::span<const CATID> categories,
                         CategoryOperation operation) noexcept {
    if (categories.empty()) return S_OK;
    ICatRegister* manager = nullptr;
    HRESULT       result  = CoCreateInstance(CLSID_StdComponentCategoriesMgr, nullptr, CLSCTX_INPROC_SERVER,
                                             IID_ICatRegister, reinterpret_cast<void**>(&manager));
    if (FAILED(result)) return result;
    // The interface takes the list as writable; it only reads it.
    result = (manager->*operation)(classId, static_cast<ULONG>(categories.size()),
                                   const_cast<CATID*>(categories.data()));
    manager->Release();
    return result;
}

}  // namespace

HRESULT RegisterClassCategories(REFCLSID classId, std::span<const CATID> categories) noexcept {
    return UpdateCategories(classId, categories, &ICatRegister::RegisterClassImplCategories);
}

HRESULT UnregisterClassCategories(REFCLSID classId, std::span<const CATID> categories) noexcept {
    return UpdateCategories(classId, categories, &ICatRegister::UnRegisterClassImplCategories);
}
