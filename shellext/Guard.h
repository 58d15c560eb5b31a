#pragma once

#include <windows.h>

#include <initializer_list>
#include <new>

/// The edge between our code and COM: no exception passes it, and no null out-pointer gets behind it.
/// @param outs  the pointers that the caller must give; `E_POINTER` when one is null.
/// @param body  the work, giving an `HRESULT`; lack of memory becomes `E_OUTOFMEMORY`, every other
///              exception `E_FAIL`.
template <class Body>
HRESULT Guard(std::initializer_list<const void*> outs, Body&& body) noexcept {
    for (const void* out : outs)
        if (out == nullptr) return E_POINTER;
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}
