#include "tessel/strings/wide_scratch.h"

#include "tessel/platform/platform.h"

#include <new>

namespace {

void DestroyBuffer(void* buffer) {
    delete static_cast<ABuffer<wchar_t>*>(buffer);
}

const platform::CThreadSlot gSlot(&DestroyBuffer);

/// Null when there is no place to keep one.
ABuffer<wchar_t>* BufferOfThread() noexcept {
    if (void* kept = gSlot.Get()) return static_cast<ABuffer<wchar_t>*>(kept);
    auto* fresh = new (std::nothrow) ABuffer<wchar_t>;
    if (gSlot.Set(fresh)) return fresh;
    delete fresh;
    return nullptr;
}

}  // namespace

CWideScratch::CWideScratch() noexcept : mBuffer(BufferOfThread()) {
    if (mBuffer == nullptr) mBuffer = &mOwn;
}

CWideScratch::~CWideScratch() {
    if (mBuffer->Capacity() > kLargestKept) mBuffer->Reset();
}

std::size_t CWideScratch::KeptCapacity() noexcept {
    const auto* kept = static_cast<ABuffer<wchar_t>*>(gSlot.Get());
    return kept != nullptr ? kept->Capacity() : 0;
}
