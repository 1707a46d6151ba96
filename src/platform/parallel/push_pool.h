// Worker threads that are handed one task each. There is no queue: a task goes to a worker that has nothing
// to do, or back to the caller.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <thread>

#include "os/join_counter.h"
#include "os/sync.h"
#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// A thread with a slot for one task. The thread that claims the slot must fill it. Between tasks the worker
// spins for a moment and then sleeps.
class alignas(64) PushPoolWorker {
  public:
    struct Task {
        BasicAction* action;
        u64 index;
        os::JoinCounter* join;  // told when the task has finished
    };

    PushPoolWorker() = default;
    ~PushPoolWorker();  // ends the thread; no task may be under way
    PushPoolWorker(const PushPoolWorker&) = delete;
    PushPoolWorker& operator=(const PushPoolWorker&) = delete;

    // Starts the thread, with a first task or without. Throws the system's error.
    // warnings: of the framework; it outlives the thread.
    void start(u64 thread_group, Warnings& warnings, const Task* first);

    bool is_awake_and_idle() const { return state_.load(std::memory_order_relaxed) == idle; }
    bool is_asleep() const { return state_.load(std::memory_order_relaxed) == asleep; }
    // Offers a task; false when the worker has one.
    bool try_push(const Task& task);

  private:
    enum State : u32 {
        idle,     // spins
        asleep,   // in wake_, or about to be
        claimed,  // somebody is about to store a task
        loaded,   // has a task, or runs it
        ended,
    };

    void run_thread(u64 thread_group, Warnings& warnings);
    void run_task();

    std::atomic<u32> state_{loaded};
    Task task_{};
    os::Mutex mutex_;
    os::ConditionVariable wake_;
    std::thread thread_;
};

// The workers of a framework. Safe to use from any thread.
class PushPool {
  public:
    struct Settings {
        u64 most_workers;
        bool start_all_at_once;  // at the first offer; otherwise one for each offer that finds no idle worker
        bool randomize;          // where a walk over the workers begins
        u64 base_group;          // processor group of the creator
        Warnings& warnings;      // of the framework
    };

    explicit PushPool(const Settings& settings) : settings_(settings) {}
    PushPool(const PushPool&) = delete;
    PushPool& operator=(const PushPool&) = delete;

    // Hands the task to a worker that has none. False when there is no such worker: the caller runs the task.
    bool offer(BasicAction& action, u64 index, os::JoinCounter& join);

    u64 worker_count() const { return count_.load(std::memory_order_acquire); }

  private:
    PushPoolWorker& worker(u64 i);
    // Makes worker number `count_`; the lock is held. False when there is no room or no thread available.
    bool add_worker(const PushPoolWorker::Task* first);
    bool grow(const PushPoolWorker::Task& task);

    const Settings settings_;
    std::atomic<u64> count_{0};
    std::atomic<bool> started_{false};
    os::Mutex growth_;
    // Segment 0 holds the first worker, segment j 2^(j-1) workers: the pool grows without moving them.
    std::array<std::unique_ptr<PushPoolWorker[]>, 64> segments_;
};

}  // namespace trel
