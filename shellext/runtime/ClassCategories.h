#pragma once

#include <comcat.h>

#include <span>

/// Notes in the registry which component categories a class implements. Nothing is asked of the
/// system for a class without categories. Needs COM to be initialised on this thread otherwise.
HRESULT RegisterClassCategories(REFCLSID classId, std::span<const CATID> categories) noexcept;
HRESULT UnregisterClassCategories(REFCLSID classId, std::span<const CATID> categories) noexcept;
