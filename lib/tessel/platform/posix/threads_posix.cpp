// Threads outside Windows.

#include "tessel/platform/threads.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <new>

namespace platform {
namespace {

/// What the deepest project takes several times over, and less than the system's 8 MiB: where memory is
/// limited, stacks count.
constexpr std::size_t kStackBytes = std::size_t{4} << 20;

}  // namespace

unsigned ProcessorCount() noexcept {
    cpu_set_t processors;
    if (sched_getaffinity(0, sizeof processors, &processors) != 0) return 1;
    return static_cast<unsigned>(std::max(CPU_COUNT(&processors), 1));
}

struct CMonitor::CSystem {
    pthread_mutex_t mMutex     = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t  mCondition = PTHREAD_COND_INITIALIZER;
};

CMonitor::CMonitor() : mSystem(std::make_unique<CSystem>()) {}

CMonitor::~CMonitor() {
    pthread_cond_destroy(&mSystem->mCondition);
    pthread_mutex_destroy(&mSystem->mMutex);
}

void CMonitor::lock() noexcept {
    pthread_mutex_lock(&mSystem->mMutex);
}
void CMonitor::unlock() noexcept {
    pthread_mutex_unlock(&mSystem->mMutex);
}
void CMonitor::Wait() noexcept {
    pthread_cond_wait(&mSystem->mCondition, &mSystem->mMutex);
}
void CMonitor::NotifyAll() noexcept {
    pthread_cond_broadcast(&mSystem->mCondition);
}

struct CThreads::CThread {
    CThread(Function function, void* argument) : mFunction(function), mArgument(argument) {}

    static void* Run(void* self) {
        const auto* thread = static_cast<CThread*>(self);
        thread->mFunction(thread->mArgument);
        return nullptr;
    }

    Function  mFunction;
    void*     mArgument;
    pthread_t mThread{};
};

CThreads::CThreads(unsigned count, Function function, void* argument) {
    mThreads.reserve(count);  // what runs is never lost
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStackBytes);
    while (mThreads.size() < count) {
        std::unique_ptr<CThread> thread(new (std::nothrow) CThread(function, argument));  // others may run
        if (!thread) break;
        if (pthread_create(&thread->mThread, &attributes, &CThread::Run, thread.get()) != 0) break;
        mThreads.push_back(std::move(thread));
    }
    pthread_attr_destroy(&attributes);
}

CThreads::~CThreads() {
    for (const auto& thread : mThreads)
        pthread_join(thread->mThread, nullptr);
}

}  // namespace platform
