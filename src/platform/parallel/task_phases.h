// Several phases of independent items on one set of tasks, with a barrier between the phases: a product
// starts its tasks once, not once a phase.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <type_traits>

#include "base/errors/fatal.h"
#include "os/spin_wait.h"
#include "os/sync.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// The end of a phase: counts its finished items, and lets tasks wait for the last of them.
//
//     waiting task                      task that finishes the last item
//
//     lock                              done >= n
//     sleepers = sleepers + 1           sleepers == 0?  yes: nobody has to be woken
//     done >= n?  yes: return           lock, notify all
//     sleep (this unlocks)
//
// Each side writes first and then reads what the other one writes, so at least one of them sees the other:
// either the waiting task finds that all items are done, or the finishing task finds a sleeper. The lock
// keeps the notification from coming between the waiting task's last look and its sleep.
//
// More than n cannot be counted. But a bit of the count that memory sets would leave all tasks asleep if they
// waited for n itself. This way a phase ends too early, and the check of the product finds that.
class PhaseEnd {
  public:
    // An item has finished; the phase has n of them.
    void finish_one(u64 n) {
        if (done_.fetch_add(1) + 1 < n || sleepers_.load() == 0) return;
        const std::lock_guard<os::Mutex> lock(mutex_);
        wake_.notify_all();
    }
    // Returns when n items have finished. Spins for a moment, then sleeps.
    void wait(u64 n) {
        for (os::SpinWait spin; done_.load(std::memory_order_acquire) < n;) {
            if (spin.once()) continue;
            std::unique_lock<os::Mutex> lock(mutex_);
            sleepers_.fetch_add(1);
            wake_.wait(lock, [&] { return done_.load() >= n; });
            return;
        }
    }

  private:
    alignas(64) std::atomic<u64> done_{0};
    std::atomic<u32> sleepers_{0};
    os::Mutex mutex_;
    os::ConditionVariable wake_;
};

constexpr u32 kMaxPhases = 16;
constexpr u64 kMaxPhaseTasks = 64;

// Runs f(task, phase, i) for all i < items(phase) of phase 0, then of phase 1, and so on; n_phases phases, at
// most kMaxPhases, and n_tasks at most kMaxPhaseTasks. task < n_tasks tells which of the tasks runs the item,
// and no two items of one task run at the same time. Items may not throw, because the other tasks would wait
// for an item that never finishes: both functions have to say noexcept.
//
// In every phase a task first takes the items of its own run, then those left in the runs behind it:
//
//     items of a phase   | run of task 0 | run of task 1 | run of task 2 | run of task 3 |
//     task 2 takes         3rd             4th             1st             2nd
//
// So what a task writes in one phase and reads in the next stays near its processor. And two tasks rarely
// work on neighbouring items, which lie beside each other in memory: their processors would fetch each
// other's lines in advance for nothing.
//
// Throws RunStopped when the run was asked to stop: no item begins after that. The items that are left out
// count as finished, so that no task waits for them.
//
// Works with any framework: a task that finds no item left waits only for items that another task is running
// already, so it does not matter whether the tasks run at the same time or one after the other.
template <class Items, class F>
void run_phases(const ParallelContext& parallel, u64 n_tasks, u32 n_phases, Items&& items, F&& f) {
    static_assert(std::is_nothrow_invocable_v<Items, u32> && std::is_nothrow_invocable_v<F, u64, u32, u64>);
    if (n_phases > kMaxPhases || n_tasks > kMaxPhaseTasks) {
        assertion_failure(kInvalidParameters, "run_phases()",
                          std::to_string(n_phases) + " phases, " + std::to_string(n_tasks) + " tasks");
    }
    if (n_tasks < 2 || parallel.tds < 2) {
        for (u32 k = 0; k < n_phases; k++) {
            for (u64 i = 0; i < items(k); i++) {
                parallel.poll();
                f(0, k, i);
            }
        }
        return parallel.poll();
    }
    const auto stopping = [&] { return parallel.run != nullptr && parallel.run->stop.requested(); };
    struct Phase {
        std::atomic<u64> taken[kMaxPhaseTasks] = {};  // items of each task's run
        PhaseEnd end;
    } phases[kMaxPhases];
    parallel_for(parallel, n_tasks, [&](u64 task) {
        for (u32 k = 0; k < n_phases; k++) {
            const u64 n = items(k);
            for (u64 t = 0; t < n_tasks; t++) {
                const u64 run = (task + t) % n_tasks, first = n * run / n_tasks,
                          last = n * (run + 1) / n_tasks;
                std::atomic<u64>& taken = phases[k].taken[run];
                // Reads before it adds: the counter of an empty run then stays in every reader's cache.
                while (first + taken.load(std::memory_order_relaxed) < last) {
                    const u64 i = first + taken.fetch_add(1, std::memory_order_relaxed);
                    if (i >= last) break;
                    if (!stopping()) f(task, k, i);
                    phases[k].end.finish_one(n);
                }
            }
            phases[k].end.wait(n);
        }
    });
}

}  // namespace trel
