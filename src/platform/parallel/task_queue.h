// One queue of tasks, first in, first out, served by worker threads. A thread is started when a task finds
// no worker idle.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <thread>
#include <vector>

#include "os/join_counter.h"
#include "os/sync.h"
#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

class TaskQueue {
  public:
    static constexpr u64 kLastId = (u64(1) << 63) - 1;

    // max_workers 0: no limit of the user's. on_start(i) is called at the start of worker number i; may be
    // empty.
    TaskQueue(u64 max_workers, std::function<void(u64)> on_start);
    // Closes the queue and ends the workers; they serve what is still queued.
    ~TaskQueue();
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    // Queues a task under a number one above the largest queued one (0 for an empty queue), which is
    // returned. `join` is notified when the task has finished. Throws InvalidParametersException "Queue is
    // closed.", LimitExceededException "ID limit exceeded.", std::bad_alloc; then nothing was queued.
    u64 push_back(BasicAction& action, u64 index, os::JoinCounter& join);
    // The same for [begin, end), under successive numbers; returns the last one. The range is not empty.
    u64 push_back(BasicAction& action, u64 begin, u64 end, os::JoinCounter& join);
    // Takes the task with this number back if it is still queued and belongs to `join`; its index in `index`.
    bool take_back(u64 id, const os::JoinCounter& join, u64& index);
    // No task may be added any more.
    void close();

    u64 worker_count() const;
    // Starts the numbering of an empty queue here instead of at 0 (tests).
    void set_first_id(u64 id) { first_id_ = id; }

  private:
    struct Task {
        BasicAction* action;
        u64 index;
        os::JoinCounter* join;
    };

    void call_worker();
    void run_worker(u64 worker);

    const u64 max_workers_;
    const std::function<void(u64)> on_start_;
    mutable os::Mutex mutex_;
    os::ConditionVariable wake_;
    std::map<u64, Task> tasks_;
    std::atomic<u64> length_{0};  // of tasks_; changed under the mutex
    std::vector<std::thread> workers_;
    u64 first_id_ = 0;
    u64 starting_ = 0;  // created, not yet in their loop
    u64 spinning_ = 0;
    u64 sleeping_ = 0;
    bool closed_ = false;
};

}  // namespace trel
