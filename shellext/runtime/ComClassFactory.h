#pragma once

#include "shellext/runtime/ComObject.h"

#include <span>

/// Creates the objects of one class. Clients of several apartments share one factory.
class CComClassFactory : public CComObjectRootEx<CComMultiThreadModel>, public IClassFactory {
  public:
    using Creator = HRESULT (*)(REFIID iid, void** out);

    explicit CComClassFactory(Creator creator) noexcept : mCreator(creator) {}

    static std::span<const CInterfaceEntry<CComClassFactory>> InterfaceMap() noexcept;

    /// Objects are not aggregated: `CLASS_E_NOAGGREGATION` when there is an outer object.
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    STDMETHODIMP LockServer(BOOL lock) override;

  protected:
    ~CComClassFactory() = default;

  private:
    Creator mCreator;
};
