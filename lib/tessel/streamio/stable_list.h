#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace io {

/// A list that grows at its end and can lose any element. A position stays valid until its own element is
/// erased, as in a linked list; but elements lie in chunks, so that most of them cost no links.
template <class T>
class CStableList {
    static constexpr unsigned kMostSlots = 64;

    /// A chunk of slots, and the list's own end, which has none.
    struct CChunk {
        CChunk*       mPrevious = this;
        CChunk*       mNext     = this;
        std::uint64_t mUsed     = 0;  ///< a bit for each slot that holds an element; only the end has none
        std::uint32_t mFilled   = 0;  ///< slots that hold an element or once did
        std::uint32_t mSlots    = 0;

        T* At(unsigned slot) noexcept { return reinterpret_cast<T*>(this + 1) + slot; }
    };
    static_assert(alignof(T) <= alignof(CChunk));

    template <class Value>
    class CPosition {
      public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type        = T;
        using difference_type   = std::ptrdiff_t;
        using pointer           = Value*;
        using reference         = Value&;

        CPosition() noexcept = default;
        operator CPosition<const T>() const noexcept requires(!std::is_const_v<Value>) {
            return {mChunk, mSlot};
        }

        reference operator*() const noexcept { return *mChunk->At(mSlot); }
        pointer   operator->() const noexcept { return mChunk->At(mSlot); }
        bool      operator==(const CPosition&) const noexcept = default;

        CPosition& operator++() noexcept {
            const std::uint64_t later = mSlot + 1 < kMostSlots ? mChunk->mUsed >> (mSlot + 1) : 0;
            if (later != 0) {
                mSlot += 1 + static_cast<unsigned>(std::countr_zero(later));
            } else {
                *this = First(mChunk->mNext);
            }
            return *this;
        }
        CPosition& operator--() noexcept {
            const std::uint64_t earlier = mChunk->mUsed & ((std::uint64_t{1} << mSlot) - 1);
            if (earlier == 0) mChunk = mChunk->mPrevious;
            mSlot = static_cast<unsigned>(std::bit_width(earlier != 0 ? earlier : mChunk->mUsed)) - 1;
            return *this;
        }
        CPosition operator++(int) noexcept { return std::exchange(*this, std::next(*this)); }
        CPosition operator--(int) noexcept { return std::exchange(*this, std::prev(*this)); }

      private:
        friend class CStableList;
        template <class Other>
        friend class CPosition;

        CPosition(CChunk* chunk, unsigned slot) noexcept : mChunk(chunk), mSlot(slot) {}
        static CPosition First(CChunk* chunk) noexcept {
            return {chunk, chunk->mUsed == 0 ? 0 : static_cast<unsigned>(std::countr_zero(chunk->mUsed))};
        }

        CChunk*  mChunk = nullptr;
        unsigned mSlot  = 0;
    };

  public:
    using value_type     = T;
    using iterator       = CPosition<T>;
    using const_iterator = CPosition<const T>;

    CStableList() noexcept                     = default;
    CStableList(const CStableList&)            = delete;
    CStableList& operator=(const CStableList&) = delete;
    ~CStableList() { clear(); }

    iterator       begin() noexcept { return iterator::First(mEnd.mNext); }
    iterator       end() noexcept { return {&mEnd, 0}; }
    const_iterator begin() const noexcept { return const_iterator::First(mEnd.mNext); }
    const_iterator end() const noexcept { return {const_cast<CChunk*>(&mEnd), 0}; }
    std::size_t    size() const noexcept { return mSize; }
    bool           empty() const noexcept { return mSize == 0; }
    /// Bytes taken for elements.
    std::size_t Bytes() const noexcept { return mBytes; }

    /// Makes an element at the end.
    template <class... Arguments>
    iterator emplace_back(Arguments&&... arguments) {
        static_assert(std::is_nothrow_constructible_v<T, Arguments...>, "a slot is never half made");
        CChunk* chunk = mEnd.mPrevious;
        if (chunk->mFilled == chunk->mSlots) chunk = AddChunk();
        const unsigned slot = chunk->mFilled;
        new (chunk->At(slot)) T(std::forward<Arguments>(arguments)...);
        ++chunk->mFilled;
        chunk->mUsed |= std::uint64_t{1} << slot;
        ++mSize;
        return {chunk, slot};
    }

    /// Returns the position behind.
    iterator erase(iterator position) noexcept {
        const iterator next  = std::next(position);
        CChunk* const  chunk = position.mChunk;
        std::destroy_at(chunk->At(position.mSlot));
        chunk->mUsed &= ~(std::uint64_t{1} << position.mSlot);
        --mSize;
        if (chunk->mUsed == 0) RemoveChunk(chunk);
        return next;
    }

    void clear() noexcept {
        while (mEnd.mNext != &mEnd) {
            CChunk* const chunk = mEnd.mNext;
            for (std::uint64_t used = chunk->mUsed; used != 0; used &= used - 1)
                std::destroy_at(chunk->At(static_cast<unsigned>(std::countr_zero(used))));
            RemoveChunk(chunk);
        }
        mSize = 0;
    }

  private:
    static std::size_t BytesOf(std::size_t slots) noexcept { return sizeof(CChunk) + slots * sizeof(T); }

    /// As many slots again as there are elements, within reason.
    CChunk* AddChunk() {
        constexpr std::size_t kFewestSlots = 8;
        const std::size_t     slots        = std::clamp<std::size_t>(mSize, kFewestSlots, kMostSlots);
        auto* const           chunk        = new (::operator new(BytesOf(slots))) CChunk;
        chunk->mSlots                      = static_cast<std::uint32_t>(slots);
        chunk->mPrevious                   = mEnd.mPrevious;
        chunk->mNext                       = &mEnd;
        chunk->mPrevious->mNext            = chunk;
        mEnd.mPrevious                     = chunk;
        mBytes += BytesOf(slots);
        return chunk;
    }

    void RemoveChunk(CChunk* chunk) noexcept {
        chunk->mPrevious->mNext = chunk->mNext;
        chunk->mNext->mPrevious = chunk->mPrevious;
        mBytes -= BytesOf(chunk->mSlots);
        ::operator delete(chunk);
    }

    CChunk      mEnd;
    std::size_t mSize  = 0;
    std::size_t mBytes = 0;
};

}  // namespace io
