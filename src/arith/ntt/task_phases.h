// Several phases of independent items on one set of tasks, with a barrier between the phases: a product
// starts its threads once, not once a phase.
#pragma once

#include <atomic>
#include <mutex>

#include "os/spin_wait.h"
#include "os/sync.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Runs f(task, phase, i) for all i < items(phase) of phase 0, then of phase 1, and so on; task < tasks tells
// which of the tasks runs the item, and no two items of one task run at the same time. Items are handed out
// one by one, in order.
//
// Works with any framework: a task that finds no item left waits only for items that another task is running
// already, so it does not matter whether all tasks run at the same time, or one after the other.
template <class Items, class F>
void run_phases(const ParallelContext& P, u64 tasks, u32 n_phases, Items&& items, F&& f) {
    constexpr u32 kMaxPhases = 32;
    if (tasks < 2 || P.tds < 2) {
        for (u32 k = 0; k < n_phases; k++) {
            for (u64 i = 0; i < items(k); i++) f(0, k, i);
        }
        return;
    }
    struct alignas(64) Progress {
        std::atomic<u64> next{0};
        alignas(64) std::atomic<u64> done{0};
    };
    Progress progress[kMaxPhases];
    os::Mutex mutex;
    os::ConditionVariable phase_done;
    parallel_for(P, tasks, [&](u64 task) {
        for (u32 k = 0; k < n_phases; k++) {
            const u64 n = items(k);
            Progress& now = progress[k];
            for (u64 i; (i = now.next.fetch_add(1, std::memory_order_relaxed)) < n;) {
                f(task, k, i);
                if (now.done.fetch_add(1, std::memory_order_acq_rel) + 1 == n) {
                    const std::lock_guard<os::Mutex> lock(mutex);
                    phase_done.notify_all();
                }
            }
            const auto is_done = [&] { return now.done.load(std::memory_order_acquire) >= n; };
            os::SpinWait spin;
            while (!is_done()) {
                if (spin.once()) continue;
                std::unique_lock<os::Mutex> lock(mutex);
                phase_done.wait(lock, is_done);
            }
        }
    });
}

}  // namespace trel
