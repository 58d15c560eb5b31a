#pragma once

#include "tessel/baseutils/assertion.h"

#include <cstdint>

/// Base of objects that count their owners themselves. A new object has none: whoever stays owner
/// calls `AddRef`, and the object deletes itself with the last `Release`. Not atomic: an object is
/// used by one thread at a time.
class MRefCount {
  public:
    MRefCount() = default;
    /// A copy is an object of its own, with no owner yet.
    MRefCount(const MRefCount&) noexcept {}
    MRefCount& operator=(const MRefCount&) noexcept { return *this; }
    virtual ~MRefCount() = default;

    void AddRef() {
        TESSEL_ASSERT(referenceCount >= 0);
        ++referenceCount;
    }
    /// The object may be gone afterwards.
    void Release() {
        --referenceCount;
        TESSEL_ASSERT(referenceCount >= 0);
        if (referenceCount == 0) delete this;
    }
    std::int32_t ReferenceCount() const noexcept { return referenceCount; }

  private:
    std::int32_t referenceCount = 0;
};
