#pragma once

#include <guiddef.h>

/// The server's identities. The class and library ids come from TarvexShellExt.idl.
extern "C" {
extern const CLSID CLSID_TarvexShellExtObj;
extern const GUID  LIBID_TarvexShellExtLib;
}
/// The id under which the DLL itself is known to the system.
// {E2254355-EEF9-4318-8FA8-298C1F190E2F}
inline constexpr GUID kTarvexShellExtAppId = {
    0xE2254355, 0xEEF9, 0x4318, {0x8F, 0xA8, 0x29, 0x8C, 0x1F, 0x19, 0x0E, 0x2F}};
