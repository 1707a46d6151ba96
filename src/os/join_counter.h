// Counts tasks that run on other threads and waits for the last of them.
#pragma once

#include <atomic>

#include "os/sync.h"
#include "os/types.h"

namespace trel::os {

// Lives in the frame of the thread that hands out the tasks; only that thread calls add() and wait(). What
// the tasks wrote is visible after wait().
class JoinCounter {
  public:
    JoinCounter() = default;
    JoinCounter(const JoinCounter&) = delete;
    JoinCounter& operator=(const JoinCounter&) = delete;

    // Announces n tasks; before any of them can finish.
    void add(u64 n) { state_.fetch_add(2 * n, std::memory_order_relaxed); }
    // A task has finished. The counter may be gone when this returns.
    void finish();
    bool done() const { return state_.load(std::memory_order_acquire) == 0; }
    // Returns when every announced task has finished. Spins for a moment, then sleeps.
    void wait();

  private:
    // Twice the number of unfinished tasks, plus 1 while the owner sleeps or is about to.
    std::atomic<u64> state_{0};
    Mutex mutex_;
    ConditionVariable wake_;
    bool woken_ = false;
};

}  // namespace trel::os
