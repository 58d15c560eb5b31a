#pragma once

#include <cstddef>

/// A program that links failing_allocations.cpp gets all that `new` gives from there. What the C library
/// and the libraries in C below us allocate for themselves does not come from there.
namespace test_support {

/// While it lives, one allocation fails, or that one and all behind it.
class CFailingAllocations {
  public:
    enum EWhich { kOne, kAllFrom };

    /// @param first  the allocation that fails, counted from 0.
    CFailingAllocations(std::size_t first, EWhich which) noexcept;
    ~CFailingAllocations();
    CFailingAllocations(const CFailingAllocations&)            = delete;
    CFailingAllocations& operator=(const CFailingAllocations&) = delete;

    /// Whether it has come to that.
    bool HaveFailed() const noexcept;
};

/// Blocks that were given out and have not been given back.
std::size_t LiveAllocations() noexcept;

}  // namespace test_support
