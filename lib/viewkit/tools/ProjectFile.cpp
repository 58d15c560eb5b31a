#include "viewkit/tools/ProjectFile.h"

#include "tessel/platform/platform.h"

#include <algorithm>

namespace ProjectPreviewHelper {

namespace {

/// Up to `size` bytes from a place on; fewer only where no more can be read.
std::size_t ReadAt(int descriptor, std::int64_t offset, char* out, std::size_t size) noexcept {
    std::size_t done = 0;
    while (done < size) {
        const int count = platform::ReadDescriptorAt(descriptor, offset + static_cast<std::int64_t>(done),
                                                     out + done, static_cast<unsigned>(size - done));
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

}  // namespace

CProjectFile::CProjectFile(const char* narrowPath)
    : mDescriptor(platform::OpenDescriptor(narrowPath, &mSize)), mKeptFrom(mSize) {}

CProjectFile::~CProjectFile() {
    if (IsOpen()) platform::CloseDescriptor(mDescriptor);
}

std::size_t CProjectFile::Read(std::int64_t offset, char* out, std::size_t size) const noexcept {
    const char* const kept = Kept(offset);
    if (kept == nullptr) return ReadAt(mDescriptor, offset, out, size);
    const std::size_t count = std::min(size, static_cast<std::size_t>(mSize - offset));
    std::copy_n(kept, count, out);
    return count;
}

bool CProjectFile::IsBinary() const noexcept {
    char first = 0;
    if (!mFirst && Read(0, &first, 1) == 1) mFirst = first;
    return mFirst == '\0';
}

const char* CProjectFile::Kept(std::int64_t offset) const noexcept {
    const bool inEnd = offset >= 0 && offset < mSize && mSize - offset <= static_cast<std::int64_t>(kKept);
    return inEnd && KeepEnd() ? mKept.data() + (offset - mKeptFrom) : nullptr;
}

/// Reads the end when it is first asked for. @return whether there is one.
bool CProjectFile::KeepEnd() const noexcept {
    if (mAsked) return mKeptFrom != mSize;
    mAsked             = true;
    const auto size    = static_cast<std::size_t>(std::min(mSize, static_cast<std::int64_t>(kKept)));
    const auto from    = mSize - static_cast<std::int64_t>(size);
    const bool isWhole = ReadAt(mDescriptor, from, mKept.data(), size) == size;
    if (isWhole) mKeptFrom = from;
    mKept[size] = '\0';
    return isWhole;
}

}  // namespace ProjectPreviewHelper
