#pragma once

#include <memory>
#include <vector>

/// Threads, for programs that use all processors. (The cross compiler's C++ library has none.)
namespace platform {

/// How many processors this process may use; at least 1.
unsigned ProcessorCount() noexcept;

/// A lock, by the names that `std::unique_lock` calls, and waiting until something that it guards has
/// changed.
class CMonitor {
  public:
    CMonitor();
    ~CMonitor();
    CMonitor(const CMonitor&)            = delete;
    CMonitor& operator=(const CMonitor&) = delete;

    void lock() noexcept;
    void unlock() noexcept;
    /// Gives the lock up until somebody notifies, or for no reason at all, and takes it again.
    void Wait() noexcept;
    void NotifyAll() noexcept;

  private:
    struct CSystem;
    std::unique_ptr<CSystem> mSystem;
};

/// Threads that all run one function; the end of this object waits for the end of each.
class CThreads {
  public:
    using Function = void (*)(void* argument);  ///< lets no exception out

    /// Starts as many as asked for, or as many as the system allows.
    CThreads(unsigned count, Function function, void* argument);
    ~CThreads();
    CThreads(const CThreads&)            = delete;
    CThreads& operator=(const CThreads&) = delete;

    bool AnyRuns() const noexcept { return !mThreads.empty(); }

  private:
    struct CThread;
    std::vector<std::unique_ptr<CThread>> mThreads;
};

}  // namespace platform
