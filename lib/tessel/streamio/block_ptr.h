#pragma once

#include "tessel/streamio/block_item.h"
#include "tessel/streamio/streamio_error.h"

#include <utility>

namespace io {

/// Holds one count on a block item, or is null. A stream object itself: it reads as its item reads.
template <class T>
class CBlock_ptr : public CStreamio_object {
  public:
    CBlock_ptr() noexcept = default;
    /// Takes one count on the item; null is allowed.
    CBlock_ptr(T* item) noexcept : mItem(item) { Hold(); }
    CBlock_ptr(const CBlock_ptr& other) noexcept : CStreamio_object(other), mItem(other.mItem) { Hold(); }
    CBlock_ptr(CBlock_ptr&& other) noexcept : mItem(std::exchange(other.mItem, nullptr)) {}
    /// From a pointer to a wider type: null when the item is not of this type.
    template <class Wider>
    explicit CBlock_ptr(const CBlock_ptr<Wider>& other) noexcept
        : CBlock_ptr(dynamic_cast<T*>(other.Get())) {}
    ~CBlock_ptr() override { LetGo(); }

    CBlock_ptr& operator=(const CBlock_ptr& other) noexcept {
        CBlock_ptr(other).Swap(*this);
        return *this;
    }
    CBlock_ptr& operator=(CBlock_ptr&& other) noexcept {
        CBlock_ptr(std::move(other)).Swap(*this);
        return *this;
    }

    T*       Get() const noexcept { return mItem; }
    T*       operator->() const noexcept { return mItem; }
    T&       operator*() const noexcept { return *mItem; }
    explicit operator bool() const noexcept { return mItem != nullptr; }
    bool     operator==(const CBlock_ptr& other) const noexcept { return mItem == other.mItem; }

    /// Reads the held item; nothing happens without one.
    void Read(CToken_istream& stream) override {
        if (mItem != nullptr) mItem->Read(stream);
    }

    /// Writes the held item; nothing happens without one.
    void Write(CToken_ostream& stream) const override {
        if (mItem != nullptr) mItem->Write(stream);
    }
    /// False also when the text says something else than what is expected.
    bool FromString(const AString& text) override {
        try {
            return CStreamio_object::FromString(text);
        } catch (const XStreamioError&) {
            return false;
        }
    }
    std::size_t EstimateLength(const CToken_ostream& stream) const override {
        return mItem != nullptr ? mItem->EstimateLength(stream) : 0;
    }

  private:
    void Swap(CBlock_ptr& other) noexcept { std::swap(mItem, other.mItem); }
    void Hold() noexcept {
        if (mItem != nullptr) mItem->AddRef();
    }
    void LetGo() noexcept {
        if (mItem != nullptr) mItem->Release();
    }

    T* mItem = nullptr;
};

/// Adds an item that nobody holds yet at the end of a list of what holds items.
template <class List, class T>
decltype(auto) AddNew(List& list, T* item) {
    try {
        return list.emplace_back(item);
    } catch (...) {
        const CBlock_ptr<T> unlisted(item);
        throw;
    }
}

class CBlock;
class CBlock_func;
class CBlock_vec;
class CItemPool;

/// Makes the items that a text calls for while it is read, held by nobody yet.
class CItem_factory {
  public:
    /// @param pool  borrowed: where the items are made; null: each on its own.
    explicit CItem_factory(CItemPool* pool = nullptr) noexcept : mPool(pool) {}
    CItem_factory(const CItem_factory&)            = delete;
    CItem_factory& operator=(const CItem_factory&) = delete;
    virtual ~CItem_factory()                       = default;

    virtual CBlock*      NewBlock() const;
    virtual CBlock_func* NewFunc() const;
    virtual CBlock_vec*  NewVec() const;

    CItemPool* Pool() const noexcept { return mPool; }

  private:
    CItemPool* mPool;
};

/// Holds an item of any kind. Reading makes the item that the text calls for.
class CBlockItemPtr : public CBlock_ptr<CBlock_item> {
  public:
    using CBlock_ptr::CBlock_ptr;

    /// Reads one item of a block: a block, a named value, a function or a vector.
    /// @throws XStreamioError  codes 11 and 7 when no item begins here, or what the item throws.
    void Read(CToken_istream& stream) override;
    void Read(CToken_istream& stream, const CItem_factory& factory);
};

/// Holds an argument of a function. Reading makes a value, a named value, a function or a vector.
class CBlockFuncArgPtr : public CBlock_ptr<CBlock_func_arg> {
  public:
    using CBlock_ptr::CBlock_ptr;

    void Read(CToken_istream& stream) override;
    void Read(CToken_istream& stream, const CItem_factory& factory);
};

}  // namespace io
