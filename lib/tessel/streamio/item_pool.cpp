#include "tessel/streamio/item_pool.h"

#include <algorithm>

namespace io {

void CItemPool::LetGo() noexcept {
    if (mChunk != nullptr) Release(std::exchange(mChunk, nullptr));
    mUsed = 0;
}

void CItemPool::StartChunk(std::size_t size) {
    constexpr std::size_t kSmallest = 1024;
    constexpr std::size_t kLargest  = std::size_t{64} << 10;
    // When all its items are gone again a chunk is as good as new: so passing over a tree takes no
    // more memory than one chunk.
    const bool reusable =
        mChunk != nullptr && mChunk->mHolders == 1 && mChunk->mSize - sizeof(CChunk) >= size;
    if (!reusable) {
        const std::size_t wanted = mChunk != nullptr ? std::min(2 * mChunk->mSize, kLargest) : kSmallest;
        const std::size_t bytes  = std::max(wanted, sizeof(CChunk) + size);
        auto*             chunk  = static_cast<CChunk*>(::operator new(bytes));
        LetGo();
        mChunk = new (chunk) CChunk{1, bytes};
    }
    mUsed = sizeof(CChunk);
}

}  // namespace io
