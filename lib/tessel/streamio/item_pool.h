#pragma once

#include "tessel/streamio/block_item.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace io {

/// Makes the items of one tree close together in memory: faster than one by one, above all when the
/// tree goes. Items stay where they are as long as anybody holds them, also when the pool is gone; the
/// memory of a chunk is given back with its last item.
class CItemPool {
  public:
    CItemPool() noexcept                   = default;
    CItemPool(const CItemPool&)            = delete;
    CItemPool& operator=(const CItemPool&) = delete;
    ~CItemPool() { LetGo(); }

    /// A new item, held by nobody yet.
    template <class T, class... Arguments>
    T* Make(Arguments&&... arguments) {
        return MakeIn<T>(Take(sizeof(T)), std::forward<Arguments>(arguments)...);
    }
    /// A new item with room for more in one piece: that begins at `RoomBehind` it.
    template <class T>
    T* MakeWithRoom(std::size_t bytes) {
        return MakeIn<T>(Take(RoundUp(sizeof(T)) + bytes));
    }
    template <class T>
    static void* RoomBehind(T* item) noexcept {
        return reinterpret_cast<char*>(item) + RoundUp(sizeof(T));
    }
    /// How much has been taken from the pool.
    struct CMark {
        const void* mChunk = nullptr;
        std::size_t mUsed  = 0;
    };
    CMark Mark() const noexcept { return {mChunk, mUsed}; }
    /// Takes back the memory of what was made since the mark. @pre it is gone.
    void Return(const CMark& mark) noexcept {
        if (mChunk != nullptr) mUsed = mChunk == mark.mChunk ? std::min(mUsed, mark.mUsed) : sizeof(CChunk);
    }
    /// Items made from now on share no memory with those made before.
    void LetGo() noexcept;

  private:
    friend class CBlock_item;

    static constexpr std::size_t kAlignment = 8;  // for what items are made of

    /// The start of a chunk; items follow.
    struct CChunk {
        std::size_t mHolders;  ///< items in it, and the pool while it takes more from it
        std::size_t mSize;     ///< bytes, with this
    };

    static constexpr std::size_t RoundUp(std::size_t size) noexcept {
        return (size + kAlignment - 1) / kAlignment * kAlignment;
    }
    template <class T, class... Arguments>
    T* MakeIn(char* memory, Arguments&&... arguments) {
        static_assert(alignof(T) <= kAlignment);
        T* item = nullptr;
        try {
            item = new (memory) T(std::forward<Arguments>(arguments)...);
        } catch (...) {
            Release(mChunk);
            throw;
        }
        static_cast<CBlock_item*>(item)->mPoolOffset =
            static_cast<std::uint32_t>(memory - reinterpret_cast<char*>(mChunk));
        return item;
    }
    char* Take(std::size_t size) {
        size = RoundUp(size);
        if (mChunk == nullptr || mChunk->mSize - mUsed < size) StartChunk(size);
        ++mChunk->mHolders;
        return reinterpret_cast<char*>(mChunk) + std::exchange(mUsed, mUsed + size);
    }
    void        StartChunk(std::size_t size);
    static void Release(CChunk* chunk) noexcept {
        if (--chunk->mHolders == 0) ::operator delete(chunk);
    }

    CChunk*     mChunk = nullptr;
    std::size_t mUsed  = 0;
};

/// A new item: from the pool, or without one on its own.
template <class T, class... Arguments>
T* NewItem(CItemPool* pool, Arguments&&... arguments) {
    return pool ? pool->Make<T>(std::forward<Arguments>(arguments)...)
                : new T(std::forward<Arguments>(arguments)...);
}

}  // namespace io
