#include "viewkit/failing_allocations.h"

#include <cstdlib>
#include <limits>
#include <new>

// For tests of one thread: nothing here is counted atomically.

namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

std::size_t gCount = 0;
std::size_t gFirst = kNever;
std::size_t gLast  = kNever;
std::size_t gLive  = 0;

void* Allocate(std::size_t size) noexcept {
    const std::size_t number = gCount++;
    if (number >= gFirst && number <= gLast) return nullptr;
    void* block = std::malloc(size != 0 ? size : 1);
    if (block != nullptr) ++gLive;
    return block;
}

void* AllocateOrThrow(std::size_t size) {
    void* block = Allocate(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void Free(void* block) noexcept {
    if (block != nullptr) --gLive;
    std::free(block);
}

}  // namespace

namespace test_support {

CFailingAllocations::CFailingAllocations(std::size_t first, EWhich which) noexcept {
    gCount = 0;
    gFirst = first;
    gLast  = which == kOne ? first : kNever;
}

CFailingAllocations::~CFailingAllocations() {
    gFirst = kNever;
}

bool CFailingAllocations::HaveFailed() const noexcept {
    return gCount > gFirst;
}

std::size_t LiveAllocations() noexcept {
    return gLive;
}

}  // namespace test_support

// All that can be replaced, so that what one of them gives never gets to another's counterpart.
void* operator new(std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void operator delete(void* block) noexcept {
    Free(block);
}
void operator delete[](void* block) noexcept {
    Free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    Free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    Free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    Free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    Free(block);
}
