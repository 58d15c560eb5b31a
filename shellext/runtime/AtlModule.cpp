#include "shellext/runtime/AtlModule.h"

#include "shellext/runtime/ClassCategories.h"

namespace {
CAtlModule* gModule = nullptr;
}

CAtlModule::CAtlModule(std::span<const CObjectMapEntry> objectMap) noexcept : mObjectMap(objectMap) {
    gModule = this;
}

CAtlModule& CAtlModule::Instance() noexcept {
    return *gModule;
}

HRESULT CAtlModule::GetClassObject(REFCLSID classId, REFIID iid, void** object) const noexcept {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    for (const CObjectMapEntry& entry : mObjectMap)
        if (classId == *entry.mClassId) return entry.mFactory->QueryInterface(iid, object);
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CAtlModule::RegisterServer() const {
    for (const CObjectMapEntry& entry : mObjectMap) {
        HRESULT result = entry.mUpdateRegistry(true);
        if (SUCCEEDED(result)) result = RegisterClassCategories(*entry.mClassId, entry.mCategories);
        if (FAILED(result)) return result;
    }
    return AtlRegisterTypeLib(ThisModule());
}

HRESULT CAtlModule::UnregisterClasses() const {
    HRESULT result = S_OK;
    for (const CObjectMapEntry& entry : mObjectMap) {
        result = FirstFailure(result, UnregisterClassCategories(*entry.mClassId, entry.mCategories));
        result = FirstFailure(result, entry.mUpdateRegistry(false));
    }
    return result;
}
