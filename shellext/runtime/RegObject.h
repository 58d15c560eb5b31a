#pragma once

#include "shellext/runtime/RegScript.h"

#include <objbase.h>

#include <string_view>

/// Whether this process registers for its user alone (below HKCU\Software\Classes) instead of for
/// the machine. Off until it is set.
void AtlSetPerUserRegistration(bool perUser) noexcept;
bool AtlGetPerUserRegistration() noexcept;

/// A GUID as text in braces; empty when the system cannot convert it.
std::wstring GuidText(REFGUID guid);

/// The registrar: runs registry scripts. A script is parsed whole before anything is written.
class CRegObject {
  public:
    /// @param replacements "MODULE", the path of this module's file, is added to them.
    explicit CRegObject(CReplacements replacements);

    /// Writes what the script says. The first failure ends the work and is the result.
    HRESULT StringRegister(std::wstring_view script) const;
    /// Removes what the script says, from the last line to the first. What is not there is no
    /// failure; a key that holds keys of others stays, without the script's values.
    HRESULT StringUnregister(std::wstring_view script) const;

    /// Runs the script in a resource of type "REGISTRY" of this module (ASCII text).
    HRESULT UpdateFromResource(UINT id, bool registering) const;

  private:
    CReplacements mReplacements;
};
