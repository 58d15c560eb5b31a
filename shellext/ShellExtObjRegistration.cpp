#include "shellext/ShellExtObj.h"
#include "shellext/resource.h"
#include "shellext/runtime/RegObject.h"

namespace {

/// What the class script's names stand for.
const CReplacements& ClassReplacements() {
    static const CReplacements replacements = {
        {L"DESCRIPTION", L"TarvexShellExt 7.0 for ZEPH 15.0 Class"},
        {L"CLSID", GuidText(CLSID_TarvexShellExtObj)},
        {L"LIBID", GuidText(LIBID_TarvexShellExtLib)},
    };
    return replacements;
}

}  // namespace

HRESULT CShellExtObj::UpdateRegistry(bool registering) {
    return CRegObject(ClassReplacements()).UpdateFromResource(IDR_SHELLEXTOBJ, registering);
}
