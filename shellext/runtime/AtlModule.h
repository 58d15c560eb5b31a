#pragma once

#include "shellext/runtime/ModuleFile.h"
#include "shellext/runtime/ThreadLocale.h"
#include "shellext/runtime/TypeLibrary.h"

#include <comcat.h>

#include <span>

/// One row of the object map: a class that clients can create.
struct CObjectMapEntry {
    const CLSID*   mClassId;
    IClassFactory* mFactory;                       ///< cached: lives as long as the module
    HRESULT (*mUpdateRegistry)(bool registering);  ///< runs the class script
    std::span<const CATID> mCategories = {};       ///< the categories that the class implements
};

/// The COM module of a DLL: what keeps it loaded, and what it offers.
class CAtlModule {
  public:
    /// @param objectMap borrowed for the module's life.
    explicit CAtlModule(std::span<const CObjectMapEntry> objectMap) noexcept;
    CAtlModule(const CAtlModule&)            = delete;
    CAtlModule& operator=(const CAtlModule&) = delete;

    /// The one module of the DLL. It stays usable for objects that are released as the process ends.
    static CAtlModule& Instance() noexcept;

    /// The lock count is changed atomically: clients of all apartments share it.
    LONG Lock() noexcept { return InterlockedIncrement(&mLockCount); }
    LONG Unlock() noexcept { return InterlockedDecrement(&mLockCount); }
    LONG GetLockCount() const noexcept { return mLockCount; }

    HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** object) const noexcept;

  protected:
    ~CAtlModule() = default;

    /// Registers all classes with their categories, then the type library; stops at the first failure.
    HRESULT RegisterServer() const;
    /// Takes back all classes, even past a failure; the result is the first failure.
    HRESULT UnregisterClasses() const;

  private:
    std::span<const CObjectMapEntry> mObjectMap;
    volatile LONG                    mLockCount = 0;
};

/// The earlier of two results that failed, else the later one.
inline HRESULT FirstFailure(HRESULT earlier, HRESULT later) noexcept {
    return FAILED(earlier) ? earlier : later;
}

/// The module with the work behind a DLL's entry points. `Module` supplies
/// `static HRESULT UpdateRegistryAppId(bool registering)`.
template <class Module>
class CAtlDllModuleT : public CAtlModule {
  public:
    using CAtlModule::CAtlModule;

    HRESULT DllCanUnloadNow() const noexcept { return GetLockCount() == 0 ? S_OK : S_FALSE; }

    HRESULT DllGetClassObject(REFCLSID classId, REFIID iid, void** object) const noexcept {
        return GetClassObject(classId, iid, object);
    }

    /// A failure leaves nothing registered: what was written before it is taken back.
    HRESULT DllRegisterServer() const {
        const CThreadLocale locale(LANG_SYSTEM_DEFAULT);
        HRESULT             result = Module::UpdateRegistryAppId(true);
        if (SUCCEEDED(result)) result = RegisterServer();
        if (FAILED(result)) Unregister();
        return result;
    }

    HRESULT DllUnregisterServer() const {
        const CThreadLocale locale(LANG_SYSTEM_DEFAULT);
        return Unregister();
    }

  protected:
    ~CAtlDllModuleT() = default;

  private:
    /// Goes on past failures, so that as little as possible stays behind.
    HRESULT Unregister() const {
        HRESULT result = UnregisterClasses();
        result         = FirstFailure(result, Module::UpdateRegistryAppId(false));
        return FirstFailure(result, AtlUnRegisterTypeLib(ThisModule()));
    }
};
