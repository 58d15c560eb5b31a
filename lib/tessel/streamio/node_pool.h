#pragma once

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

namespace io {

/// Memory for the nodes of one container, all of one size, which the container gives back one by one
/// and the pool with itself.
class CNodePool {
  public:
    CNodePool() noexcept                   = default;
    CNodePool(const CNodePool&)            = delete;
    CNodePool& operator=(const CNodePool&) = delete;
    ~CNodePool() {
        while (mChunks != nullptr)
            ::operator delete(std::exchange(mChunks, mChunks->mNext));
    }

    void* Take(std::size_t size) {
        if (mFree != nullptr) return std::exchange(mFree, mFree->mNext);
        if (mLeft == 0) Grow(size);
        --mLeft;
        return std::exchange(mNext, mNext + size);
    }
    void Give(void* node) noexcept { mFree = new (node) CLink{mFree}; }

    /// Bytes held, for nodes in use or not.
    std::size_t Bytes() const noexcept { return mBytes; }

  private:
    /// The start of a chunk, and what a node not in use holds.
    struct alignas(std::max_align_t) CLink {
        CLink* mNext;
    };

    void Grow(std::size_t size) {
        constexpr std::size_t kFewest = 4;
        constexpr std::size_t kMost   = 256;
        const std::size_t     count   = std::clamp(mBytes / size, kFewest, kMost);  // as many as there are
        const std::size_t     bytes   = sizeof(CLink) + count * size;
        void* memory                  = ::operator new(bytes);
        mChunks                       = new (memory) CLink{mChunks};
        mNext                         = static_cast<std::byte*>(memory) + sizeof(CLink);
        mLeft                         = count;
        mBytes += bytes;
    }

    CLink*      mChunks = nullptr;
    CLink*      mFree   = nullptr;
    std::byte*  mNext   = nullptr;
    std::size_t mLeft   = 0;
    std::size_t mBytes  = 0;
};

/// Lets a container of the standard library take its nodes from a pool, which must outlive it.
template <class T>
class CNodeAllocator {
  public:
    using value_type = T;

    explicit CNodeAllocator(CNodePool& pool) noexcept : mPool(&pool) {}
    template <class Other>
    CNodeAllocator(const CNodeAllocator<Other>& other) noexcept : mPool(other.Pool()) {}

    T*         allocate(std::size_t) { return static_cast<T*>(mPool->Take(sizeof(T))); }
    void       deallocate(T* node, std::size_t) noexcept { mPool->Give(node); }
    CNodePool* Pool() const noexcept { return mPool; }

    template <class Other>
    bool operator==(const CNodeAllocator<Other>& other) const noexcept {
        return mPool == other.Pool();
    }

  private:
    CNodePool* mPool;
};

}  // namespace io
