#pragma once

#include "tessel/streamio/streamio_object.h"
#include "tessel/streamio/token.h"

#include <cstddef>
#include <cstdint>

namespace io {

/// What items take up, in bytes; each item adds its own.
struct CMemoryStatistics {
    std::size_t mObjects        = 0;  ///< items counted
    std::size_t mObjectBytes    = 0;  ///< the items themselves
    std::size_t mTextBytes      = 0;  ///< texts of names and values that lie outside the items
    std::size_t mContainerBytes = 0;  ///< lists, indexes and vectors
    std::size_t mErrorBytes     = 0;  ///< recorded errors
    std::size_t Total() const noexcept { return mObjectBytes + mTextBytes + mContainerBytes + mErrorBytes; }
};

/// One item of a block. Items are shared: each holder (`CBlock_ptr`) counts, and the last one to
/// let go deletes the item. Counts are plain integers: a tree belongs to one thread at a time. So do
/// items that were read together, also when they were taken apart: they share memory.
class CBlock_item : public CStreamio_object {
  public:
    /// Destroying an item that somebody still holds fails an assertion.
    ~CBlock_item() override;

    /// The name's text; empty when the item has none.
    virtual void GetName(AString& name) const;
    /// Gives the item a name, as single-quoted text. Nothing happens to an item without names.
    virtual void SetName(const wchar_t* text);
    /// The name itself; a `Null` token for an item without names.
    virtual const CToken& Name() const;
    virtual void SetNameToken(CToken) {}  // NOLINT(performance-unnecessary-value-param): kept by others
    virtual bool HasName() const { return true; }
    virtual bool IsEmpty() const { return Count() < 1; }
    /// Items of a block, elements of a vector, arguments of a function, values of a value (0 or 1).
    virtual std::size_t Count() const = 0;
    virtual void        Clear()       = 0;

    /// Adds what the item takes up; without `includeSelf` only what it holds. An item held by several
    /// counts each time that it is met.
    virtual void MemoryUsage(CMemoryStatistics& statistics, bool includeSelf) const = 0;

    virtual bool IsNamedValue() const { return false; }
    virtual bool IsValue() const { return false; }
    virtual bool IsBlock() const { return false; }
    virtual bool IsFunc() const { return false; }
    virtual bool IsVec() const { return false; }

    /// Takes the written form, with the name, or what follows the name.
    bool FromString(const AString& text) override;

    void AddRef() noexcept { ++mRefCount; }
    void Release() noexcept {
        if (--mRefCount == 0) Destroy();
    }

  protected:
    CBlock_item() noexcept = default;
    /// A copy is held by nobody yet.
    CBlock_item(const CBlock_item& other) noexcept : CStreamio_object(other) {}
    CBlock_item& operator=(const CBlock_item&) noexcept { return *this; }

  private:
    friend class CItemPool;

    void Destroy() noexcept;

    std::int32_t  mRefCount   = 0;
    std::uint32_t mPoolOffset = 0;  ///< from the start of the pool's chunk; 0: the item lies on its own
};

/// Units that a token takes at most when it is written as a name or value.
std::size_t EstimateToken(const CToken& token) noexcept;
/// Bytes that a token's text takes outside the token.
std::size_t TextBytes(const CToken& token) noexcept;

/// An item that may stand as a function's argument: a value, a named value, a vector or a function.
///
/// The accessors read its one value, each as a type of its own: they answer false, and leave the
/// output untouched, when there is none, when it is of another kind, or when it lies outside the
/// type's range. Numbers are truncated toward zero. A value's one value is its token; a vector's is
/// its only element, a function's its only argument, as long as there is exactly one.
class CBlock_func_arg : public CBlock_item {
  public:
    /// Copies the text with its terminating NUL. The buffer is the caller's to size.
    bool GetText(wchar_t* buffer) const;
    bool GetBool(bool& value) const;
    bool GetString(AString& value) const;
    bool GetUnsignedInt64(std::uint64_t& value) const;  ///< 2^64 itself passes and gives 0
    bool GetInt64(std::int64_t& value) const;           ///< 2^63 itself passes and wraps
    bool GetUnsignedLong(std::uint32_t& value) const;
    bool GetUnsignedInt(std::uint32_t& value) const;
    bool GetUnsignedShort(std::uint16_t& value) const;
    bool GetLong(std::int32_t& value) const;
    bool GetInt(std::int32_t& value) const;
    bool GetShort(std::int16_t& value) const;
    bool GetFloat(float& value) const;
    bool GetDouble(double& value) const;

    /// The token that the accessors read; null when there is not exactly one.
    virtual const CToken* SoleValue() const = 0;
};

}  // namespace io
