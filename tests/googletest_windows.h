#pragma once

// Compiled into GoogleTest itself, in front of its sources. Without threads it leaves this class
// out on Windows, but its death tests use it all the same.

namespace testing::internal {

class AutoHandle {
  public:
    using Handle = void*;

    AutoHandle() = default;
    explicit AutoHandle(Handle handle) : mHandle(handle) {}
    ~AutoHandle() { Reset(); }
    AutoHandle(const AutoHandle&)            = delete;
    AutoHandle& operator=(const AutoHandle&) = delete;

    Handle Get() const { return mHandle; }
    void   Reset(Handle handle = nullptr);

  private:
    Handle mHandle = nullptr;
};

}  // namespace testing::internal

extern "C" __declspec(dllimport) int __stdcall CloseHandle(void* handle);

inline void testing::internal::AutoHandle::Reset(Handle handle) {
    if (mHandle != nullptr && mHandle != reinterpret_cast<Handle>(-1)) CloseHandle(mHandle);
    mHandle = handle;
}
