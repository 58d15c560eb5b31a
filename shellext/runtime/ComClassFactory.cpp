#include "shellext/runtime/ComClassFactory.h"

std::span<const CInterfaceEntry<CComClassFactory>> CComClassFactory::InterfaceMap() noexcept {
    static constexpr CInterfaceEntry<CComClassFactory> kMap[] = {
        {&IID_IClassFactory, BaseOf<CComClassFactory, IClassFactory>},
    };
    return kMap;
}

STDMETHODIMP CComClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return outer != nullptr ? CLASS_E_NOAGGREGATION : mCreator(iid, out);
}

STDMETHODIMP CComClassFactory::LockServer(BOOL lock) {
    CAtlModule& module = CAtlModule::Instance();
    if (lock) {
        module.Lock();
    } else {
        module.Unlock();
    }
    return S_OK;
}
