#pragma once

#include <objbase.h>

/// Registers the type library that a module carries as its resource 1: for this user alone when
/// `AtlGetPerUserRegistration` says so and the system can do that. The help folder is the module's.
HRESULT AtlRegisterTypeLib(HMODULE module);

/// Takes the same registration back.
HRESULT AtlUnRegisterTypeLib(HMODULE module);
