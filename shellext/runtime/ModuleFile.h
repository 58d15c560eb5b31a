#pragma once

#include <windows.h>

#include <string>

/// The module that this code is linked into: the DLL itself, not the program that loaded it.
HMODULE ThisModule() noexcept;

/// The full path of a module's file, whatever its length. Empty when the system does not tell.
std::wstring ModuleFilePath(HMODULE module);
