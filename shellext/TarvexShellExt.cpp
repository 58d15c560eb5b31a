#include "shellext/TarvexShellExt.h"

#include "shellext/Guard.h"
#include "shellext/ServerIds.h"
#include "shellext/ShellExtObj.h"
#include "shellext/resource.h"
#include "shellext/runtime/ComClassFactory.h"
#include "shellext/runtime/RegObject.h"

namespace {

CComObjectCached<CComClassFactory> gShellExtObjFactory(CComObject<CShellExtObj>::CreateInstance);

const CObjectMapEntry kObjectMap[] = {
    {&CShellExtObj::GetObjectCLSID(), &gShellExtObjFactory, CShellExtObj::UpdateRegistry},
};

CTarvexShellExtApp    gApp;
CTarvexShellExtModule gModule;

}  // namespace

CTarvexShellExtModule::CTarvexShellExtModule() noexcept : CAtlDllModuleT(kObjectMap) {}

HRESULT CTarvexShellExtModule::UpdateRegistryAppId(bool registering) {
    return CRegObject({{L"APPID", GuidText(kTarvexShellExtAppId)}})
        .UpdateFromResource(IDR_TARVEXSHELLEXT, registering);
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID iid, void** object) {
    return gModule.DllGetClassObject(classId, iid, object);
}

STDAPI DllCanUnloadNow() {
    return AfxDllCanUnloadNow() == S_OK && gModule.DllCanUnloadNow() == S_OK ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
    return Guard({}, [] { return gModule.DllRegisterServer(); });
}

STDAPI DllUnregisterServer() {
    return Guard({}, [] { return gModule.DllUnregisterServer(); });
}
