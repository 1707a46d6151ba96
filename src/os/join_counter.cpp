#include "os/join_counter.h"

#include "os/spin_wait.h"

namespace trel::os {

void JoinCounter::finish() {
    // The owner leaves as soon as it sees 0, so nothing may be touched after the count has dropped, except by
    // the last task of an owner that sleeps: such an owner cannot leave before the mutex is free again.
    if (state_.fetch_sub(2, std::memory_order_acq_rel) != 3) return;
    const std::lock_guard<Mutex> lock(mutex_);
    woken_ = true;
    wake_.notify_one();
}

void JoinCounter::wait() {
    SpinWait spin;
    while (!done()) {
        if (spin.once()) continue;
        if (state_.fetch_or(1, std::memory_order_acq_rel) != 0) {
            std::unique_lock<Mutex> lock(mutex_);
            wake_.wait(lock, [this] { return woken_; });
            woken_ = false;
        }
        state_.store(0, std::memory_order_relaxed);
        return;
    }
}

}  // namespace trel::os
