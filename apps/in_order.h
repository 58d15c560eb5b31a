#pragma once

#include "tessel/platform/threads.h"

#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

namespace preview {

/// Does work on items with all processors, and hands the results out in the items' order, each as soon as it
/// and those before it are there. No more than a few items for each processor are under way, however many
/// there are.
///
/// `next` gives the items, one call at a time, until it answers false. `work` runs on many at once; what it
/// makes belongs to one thread at a time. `deliver` runs on the calling thread alone. Work that runs out of
/// memory beside others gets another turn before its item is delivered, which has no result when that did
/// not help.
template <class TItem, class TResult>
class CInOrder {
  public:
    using CNext    = std::function<bool(TItem*)>;
    using CWork    = std::function<TResult(const TItem&)>;
    using CDeliver = std::function<void(const TItem&, std::optional<TResult>)>;

    CInOrder(CNext next, CWork work, CDeliver deliver)
        : mNext(std::move(next)), mWork(std::move(work)), mDeliver(std::move(deliver)) {}

    void Run() {
        // One item needs no threads, and most calls are about one.
        while (mEntries.size() < 2 && Fetch()) {
        }
        if (mEntries.size() == 2 && DeliverFromThreads()) return;
        while (!mEntries.empty() || Fetch())
            Deliver(TakeFront());
    }

  private:
    static constexpr unsigned kEntriesPerThread = 16;

    struct CEntry {
        TItem                  mItem{};
        std::optional<TResult> mResult;
        bool                   mIsDone = false;
    };
    using CLocked = std::unique_lock<platform::CMonitor>;

    /// Tells the threads to end, whatever else there is to do.
    struct CStop {
        CInOrder& mOwner;
        ~CStop() {
            const CLocked lock(mOwner.mMonitor);
            mOwner.mStop = true;
            mOwner.mMonitor.NotifyAll();
        }
    };

    bool Fetch() {
        CEntry entry;
        if (mEnd || !mNext(&entry.mItem)) {
            mEnd = true;
            return false;
        }
        mEntries.push_back(std::move(entry));
        return true;
    }

    CEntry TakeFront() {
        CEntry entry = std::move(mEntries.front());
        mEntries.pop_front();
        return entry;
    }

    std::optional<TResult> TryWork(const TItem& item) const {
        try {
            return mWork(item);
        } catch (const std::bad_alloc&) {
            return std::nullopt;
        }
    }

    void Deliver(CEntry entry) {
        if (!entry.mResult) entry.mResult = TryWork(entry.mItem);
        mDeliver(entry.mItem, std::move(entry.mResult));
    }

    /// False when there are no threads to be had.
    bool DeliverFromThreads() {
        const unsigned count = platform::ProcessorCount();
        mMost                = std::size_t{kEntriesPerThread} * count;
        const platform::CThreads threads(
            count, [](void* self) { static_cast<CInOrder*>(self)->WorkBesideOthers(); }, this);
        if (!threads.AnyRuns()) return false;
        const CStop stop{*this};  // before the threads are waited for, also when delivering throws
        CLocked     lock(mMonitor);
        for (;;) {
            while (mEntries.empty() ? !mEnd : !mEntries.front().mIsDone)
                mMonitor.Wait();
            if (mEntries.empty()) {
                if (mFailure) std::rethrow_exception(mFailure);
                return true;
            }
            CEntry entry = TakeFront();
            --mTaken;
            mMonitor.NotifyAll();
            lock.unlock();
            Deliver(std::move(entry));
            lock.lock();
        }
    }

    /// The next entry that nobody works on; null when there will be none. Under the lock.
    CEntry* Take() {
        while (!mStop) {
            if (mTaken < mEntries.size()) return &mEntries[mTaken++];
            if (mEnd) return nullptr;
            if (mEntries.size() >= mMost)
                mMonitor.Wait();
            else if (!FetchBesideOthers())
                mMonitor.NotifyAll();
        }
        return nullptr;
    }

    /// What `next` throws ends the items: the calling thread gets it, behind those that came before.
    bool FetchBesideOthers() noexcept {
        try {
            return Fetch();
        } catch (...) {
            mFailure = std::current_exception();
            mEnd     = true;
            return false;
        }
    }

    void WorkBesideOthers() {
        CLocked lock(mMonitor);
        while (CEntry* entry = Take()) {
            lock.unlock();
            auto result = TryWork(entry->mItem);
            lock.lock();
            entry->mResult = std::move(result);
            entry->mIsDone = true;
            mMonitor.NotifyAll();
        }
    }

    CNext    mNext;
    CWork    mWork;
    CDeliver mDeliver;

    platform::CMonitor mMonitor;    ///< guards all below while threads run
    std::deque<CEntry> mEntries;    ///< in order; an entry stays where it is until it is delivered
    std::size_t        mTaken = 0;  ///< how many of them somebody works on, or has
    std::size_t        mMost  = 0;  ///< how many of them there may be
    std::exception_ptr mFailure;    ///< what `next` threw on another thread
    bool               mEnd  = false;
    bool               mStop = false;
};

}  // namespace preview
