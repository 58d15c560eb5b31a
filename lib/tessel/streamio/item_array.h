#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace io {

/// What an item holds in a row: grows at its end, as a `std::vector` does. Its first room may be lent to it,
/// by a pool that made the item and the room as one piece.
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
        std::swap(mLast, copy.mLast);
        std::swap(mLimit, copy.mLimit);
        std::swap(mLent, copy.mLent);
        return *this;
    }
    ~CItemArray() {
        clear();
        GiveBack();
    }

    /// Room for `count` elements, to be had as long as this lives. @pre nothing has been reserved or added.
    void Lend(void* room, std::size_t count) noexcept {
        mFirst = mLast = static_cast<T*>(room);
        mLimit         = mFirst + count;
        mLent          = true;
    }

    const T*    begin() const noexcept { return mFirst; }
    const T*    end() const noexcept { return mLast; }
    bool        empty() const noexcept { return mFirst == mLast; }
    std::size_t size() const noexcept { return static_cast<std::size_t>(mLast - mFirst); }
    std::size_t capacity() const noexcept { return static_cast<std::size_t>(mLimit - mFirst); }
    const T&    operator[](std::size_t at) const noexcept { return mFirst[at]; }

    template <class... Arguments>
    T& emplace_back(Arguments&&... arguments) {
        if (mLast == mLimit) Grow(std::max(2 * size(), std::size_t{1}));
        T* const added = new (mLast) T(std::forward<Arguments>(arguments)...);
        ++mLast;
        return *added;
    }
    void pop_back() noexcept { std::destroy_at(--mLast); }
    void clear() noexcept { std::destroy(mFirst, std::exchange(mLast, mFirst)); }
    void reserve(std::size_t count) {
        if (count > capacity()) Grow(count);
    }

  private:
    void Grow(std::size_t capacity) {
        auto* const room = static_cast<T*>(::operator new(capacity * sizeof(T)));
        T* const    last = std::uninitialized_move(mFirst, mLast, room);
        clear();
        GiveBack();
        mFirst = room;
        mLast  = last;
        mLimit = room + capacity;
        mLent  = false;
    }
    void GiveBack() noexcept {
        if (!mLent) ::operator delete(mFirst);
    }

    T*   mFirst = nullptr;
    T*   mLast  = nullptr;
    T*   mLimit = nullptr;
    bool mLent  = false;
};

}  // namespace io
