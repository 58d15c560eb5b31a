// Threads on Windows.

#include "tessel/platform/threads.h"

#include <windows.h>

#include <algorithm>
#include <bit>
#include <new>

namespace platform {

unsigned ProcessorCount() noexcept {
    DWORD_PTR ours = 0, all = 0;
    if (!GetProcessAffinityMask(GetCurrentProcess(), &ours, &all)) return 1;
    return static_cast<unsigned>(std::max(std::popcount(ours), 1));
}

struct CMonitor::CSystem {
    SRWLOCK            mLock      = SRWLOCK_INIT;
    CONDITION_VARIABLE mCondition = CONDITION_VARIABLE_INIT;
};

CMonitor::CMonitor() : mSystem(std::make_unique<CSystem>()) {}
CMonitor::~CMonitor() = default;

void CMonitor::lock() noexcept {
    AcquireSRWLockExclusive(&mSystem->mLock);
}
void CMonitor::unlock() noexcept {
    ReleaseSRWLockExclusive(&mSystem->mLock);
}
void CMonitor::Wait() noexcept {
    SleepConditionVariableSRW(&mSystem->mCondition, &mSystem->mLock, INFINITE, 0);
}
void CMonitor::NotifyAll() noexcept {
    WakeAllConditionVariable(&mSystem->mCondition);
}

struct CThreads::CThread {
    CThread(Function function, void* argument) : mFunction(function), mArgument(argument) {}

    static DWORD WINAPI Run(void* self) {
        const auto* thread = static_cast<CThread*>(self);
        thread->mFunction(thread->mArgument);
        return 0;
    }

    Function mFunction;
    void*    mArgument;
    HANDLE   mThread = nullptr;
};

CThreads::CThreads(unsigned count, Function function, void* argument) {
    mThreads.reserve(count);  // what runs is never lost
    while (mThreads.size() < count) {
        std::unique_ptr<CThread> thread(new (std::nothrow) CThread(function, argument));  // others may run
        if (!thread) break;
        thread->mThread = CreateThread(nullptr, 0, &CThread::Run, thread.get(), 0, nullptr);
        if (thread->mThread == nullptr) break;
        mThreads.push_back(std::move(thread));
    }
}

CThreads::~CThreads() {
    for (const auto& thread : mThreads) {
        WaitForSingleObject(thread->mThread, INFINITE);
        CloseHandle(thread->mThread);
    }
}

}  // namespace platform
