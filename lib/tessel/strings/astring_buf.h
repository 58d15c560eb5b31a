#pragma once

#include "tessel/baseutils/assertion.h"
#include "tessel/baseutils/mrefcount.h"
#include "tessel/baseutils/refptr.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

/// Scratch room for conversion and formatting: a used length and an owned array of `m_Capacity`
/// elements, none when that is 0. The elements are not initialised.
template <typename TChar>
class ABuffer_descriptor : public MRefCount {
  public:
    /// The capacity is 0 when there is no memory for more.
    explicit ABuffer_descriptor(unsigned capacity = 0) noexcept
        : mElements(capacity != 0 ? new (std::nothrow) TChar[capacity] : nullptr) {
        m_Capacity = mElements != nullptr ? capacity : 0;
    }

    unsigned                 mLength    = 0;  ///< elements in use
    unsigned                 m_Capacity = 0;  ///< elements
    std::unique_ptr<TChar[]> mElements;
};

/// Holds a descriptor, or none, and makes a larger one when asked.
template <typename TChar>
class ABuffer {
  public:
    /// Makes room for `capacity` elements. Contents are lost when the room has to grow.
    /// @return the capacity now held: more than asked for when there was more, less when memory is short.
    unsigned EnsureCapacity(unsigned capacity) {
        if (m_pBuf == nullptr || capacity > m_pBuf->m_Capacity) {
            m_pBuf = nullptr;  // before the new one is made: two at a time might be too much
            m_pBuf = new (std::nothrow) ABuffer_descriptor<TChar>(capacity);
        }
        return Capacity();
    }

    unsigned Capacity() const { return m_pBuf ? m_pBuf->m_Capacity : 0; }
    unsigned Length() const { return m_pBuf ? m_pBuf->mLength : 0; }
    /// Clamped to the capacity.
    void SetLength(unsigned length) {
        if (m_pBuf) m_pBuf->mLength = std::min(length, m_pBuf->m_Capacity);
    }

    TChar* Data() { return m_pBuf ? m_pBuf->mElements.get() : nullptr; }
    /// REQUIRES: `pos` lies below the capacity.
    TChar& operator[](std::size_t pos) {
        TESSEL_ASSERT(m_pBuf != 0 && pos < m_pBuf->m_Capacity);
        return m_pBuf->mElements[pos];
    }

    /// Lets the descriptor go.
    void Reset() { m_pBuf = nullptr; }

  private:
    RefPtr<ABuffer_descriptor<TChar>> m_pBuf;
};
