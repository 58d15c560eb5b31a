#pragma once

#include "shellext/runtime/AtlModule.h"

#include <objbase.h>

#include <new>
#include <span>

/// Counts references to objects that stay in one apartment.
struct CComSingleThreadModel {
    static LONG Increment(LONG* count) noexcept { return ++*count; }
    static LONG Decrement(LONG* count) noexcept { return --*count; }
};

/// Counts references to objects that several apartments share.
struct CComMultiThreadModel {
    static LONG Increment(LONG* count) noexcept { return InterlockedIncrement(count); }
    static LONG Decrement(LONG* count) noexcept { return InterlockedDecrement(count); }
};

/// One row of an interface map: an interface id and the base that answers for it.
template <class Object>
struct CInterfaceEntry {
    const IID* mId;
    IUnknown* (*mBase)(Object*);
};

/// The base `Interface` of an object, for a row of its interface map.
template <class Object, class Interface>
IUnknown* BaseOf(Object* object) {
    return static_cast<Interface*>(object);
}

/// What every COM object needs: the reference count and the walk over the interface map. A class
/// derived from it lists its interfaces in a static function `InterfaceMap()`.
template <class ThreadModel>
class CComObjectRootEx {
  public:
    CComObjectRootEx()                                   = default;
    CComObjectRootEx(const CComObjectRootEx&)            = delete;
    CComObjectRootEx& operator=(const CComObjectRootEx&) = delete;

  protected:
    ~CComObjectRootEx() = default;

    ULONG InternalAddRef() noexcept { return static_cast<ULONG>(ThreadModel::Increment(&mRefCount)); }
    ULONG InternalRelease() noexcept { return static_cast<ULONG>(ThreadModel::Decrement(&mRefCount)); }

    /// The first row that bears the id answers; `IUnknown` is answered through the first row.
    template <class Object>
    static HRESULT InternalQueryInterface(Object* object, REFIID iid, void** out) noexcept {
        if (out == nullptr) return E_POINTER;
        *out                                               = nullptr;
        const std::span<const CInterfaceEntry<Object>> map = Object::InterfaceMap();
        for (const CInterfaceEntry<Object>& entry : map) {
            if (iid != *entry.mId && iid != IID_IUnknown) continue;
            IUnknown* found = entry.mBase(object);
            found->AddRef();
            *out = found;
            return S_OK;
        }
        return E_NOINTERFACE;
    }

  private:
    LONG mRefCount = 0;
};

/// A class that clients create by its class id.
template <class Object, const CLSID* kClassId>
class CComCoClass {
  public:
    static const CLSID& GetObjectCLSID() noexcept { return *kClassId; }

  protected:
    ~CComCoClass() = default;
};

/// The complete form of an object on the heap: it keeps the module loaded and goes with its last
/// reference.
template <class Base>
class CComObject final : public Base {
  public:
    /// A new object, asked for its first interface; gone again when it does not have that.
    static HRESULT CreateInstance(REFIID iid, void** out) noexcept {
        auto* object = new (std::nothrow) CComObject;
        if (object == nullptr) return E_OUTOFMEMORY;
        object->AddRef();
        const HRESULT result = object->QueryInterface(iid, out);
        object->Release();
        return result;
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        return Base::template InternalQueryInterface<Base>(this, iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return Base::InternalAddRef(); }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG count = Base::InternalRelease();
        if (count == 0) {
            delete this;
            CAtlModule::Instance().Unlock();  // last of all: from here on the module may be unloaded
        }
        return count;
    }

  private:
    CComObject() { CAtlModule::Instance().Lock(); }
    ~CComObject() = default;
};

/// The complete form of an object that lives as long as the module: the references that clients
/// hold, not the object itself, keep the module loaded.
template <class Base>
class CComObjectCached final : public Base {
  public:
    using Base::Base;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        return Base::template InternalQueryInterface<Base>(this, iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override {
        const ULONG count = Base::InternalAddRef();
        if (count == 1) CAtlModule::Instance().Lock();
        return count;
    }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG count = Base::InternalRelease();
        if (count == 0) CAtlModule::Instance().Unlock();
        return count;
    }
};
