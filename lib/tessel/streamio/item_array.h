#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace io {

/// What an item holds in a row: grows at its end, as a `std::vector` does. Its first room may be lent to it,
/// by a pool that made the item and the room as one piece. Room for 2^31 elements is more than it can have:
/// `std::bad_alloc`.
template <class T>
class CItemArray {
    static_assert(std::is_nothrow_move_constructible_v<T>, "growing never fails halfway");

  public:
    using value_type     = T;
    using const_iterator = const T*;

    CItemArray() noexcept = default;
    /// Elements are copied, never the room.
    CItemArray(const CItemArray& other) : CItemArray() {
        reserve(other.size());
        for (const T& element : other)
            emplace_back(element);
    }
    /// Also what the elements themselves hold can be taken over.
    CItemArray& operator=(const CItemArray& other) {
        CItemArray copy(other);
        std::swap(mFirst, copy.mFirst);
        std::swap(mSize, copy.mSize);
        std::swap(mRoom, copy.mRoom);
        return *this;
    }
    ~CItemArray() {
        clear();
        GiveBack();
    }

    /// Room for `count` elements, to be had as long as this lives. @pre nothing has been reserved or added.
    void Lend(void* room, std::size_t count) noexcept {
        mFirst = static_cast<T*>(room);
        mRoom  = static_cast<std::uint32_t>(count) | kLent;
    }

    const T*    begin() const noexcept { return mFirst; }
    const T*    end() const noexcept { return mFirst + mSize; }
    bool        empty() const noexcept { return mSize == 0; }
    std::size_t size() const noexcept { return mSize; }
    std::size_t capacity() const noexcept { return mRoom & ~kLent; }
    const T&    operator[](std::size_t at) const noexcept { return mFirst[at]; }

    template <class... Arguments>
    T& emplace_back(Arguments&&... arguments) {
        if (mSize == capacity()) Grow(std::max(2 * size(), std::size_t{1}));
        T* const added = new (mFirst + mSize) T(std::forward<Arguments>(arguments)...);
        ++mSize;
        return *added;
    }
    void pop_back() noexcept { std::destroy_at(mFirst + --mSize); }
    void clear() noexcept { std::destroy_n(mFirst, std::exchange(mSize, 0)); }
    void reserve(std::size_t count) {
        if (count > capacity()) Grow(count);
    }

  private:
    static constexpr std::uint32_t kLent = std::uint32_t{1} << 31;

    void Grow(std::size_t capacity) {
        if (capacity >= kLent || capacity > SIZE_MAX / sizeof(T)) throw std::bad_alloc();
        auto* const room = static_cast<T*>(::operator new(capacity * sizeof(T)));
        const auto  size = mSize;
        std::uninitialized_move_n(mFirst, size, room);
        clear();
        GiveBack();
        mFirst = room;
        mSize  = size;
        mRoom  = static_cast<std::uint32_t>(capacity);
    }
    void GiveBack() noexcept {
        if ((mRoom & kLent) == 0) ::operator delete(mFirst);
    }

    T*            mFirst = nullptr;
    std::uint32_t mSize  = 0;
    std::uint32_t mRoom  = 0;  ///< for so many elements; `kLent` too when it is not its own
};

}  // namespace io
