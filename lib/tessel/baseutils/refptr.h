#pragma once

#include "tessel/baseutils/assertion.h"

/// Points at an object derived from `MRefCount` and is one of its owners. The object is constant
/// when the pointer is. Access through an empty pointer raises an assertion and yields null.
template <typename T>
class RefPtr {
  public:
    RefPtr() = default;
    RefPtr(T* rep) : pRep(rep) {
        if (pRep != nullptr) pRep->AddRef();
    }
    RefPtr(const RefPtr& other) : RefPtr(other.pRep) {}
    ~RefPtr() {
        if (pRep != nullptr) pRep->Release();
    }

    RefPtr& operator=(const RefPtr& other) {
        if (pRep == other.pRep) return *this;
        // Everything in place before the old object goes: its end may reach this pointer or `other`.
        T* const old = pRep;
        pRep         = other.pRep;
        if (pRep != nullptr) pRep->AddRef();
        if (old != nullptr) old->Release();
        return *this;
    }

    explicit operator bool() const noexcept { return pRep != nullptr; }
    bool     operator==(const T* rep) const noexcept { return pRep == rep; }

    T*       operator->() { return Checked(); }
    const T* operator->() const { return Checked(); }
    T&       operator*() { return *Checked(); }
    const T& operator*() const { return *Checked(); }

  private:
    T* Checked() const {
        TESSEL_ASSERT(pRep);
        return pRep;
    }

    T* pRep = nullptr;
};
