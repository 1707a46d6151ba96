#include "platform/parallel/task_queue.h"

#include <exception>
#include <new>

#include "base/errors/exceptions.h"
#include "os/crash_handler.h"
#include "os/spin_wait.h"
#include "platform/parallel/task_guard.h"
#include "platform/parallel/thread_control.h"

namespace trel {

// Tasks that no worker comes for run in the threads that wait for them.
TaskQueue::TaskQueue(u64 max_workers, std::function<void(u64)> on_start)
    : max_workers_(max_workers == 0 ? most_pool_threads() : max_workers), on_start_(std::move(on_start)) {}

TaskQueue::~TaskQueue() {
    close();
    for (std::thread& worker : workers_) worker.join();
}

void TaskQueue::close() {
    const std::lock_guard<os::Mutex> lock(mutex_);
    closed_ = true;
    wake_.notify_all();
}

u64 TaskQueue::worker_count() const {
    const std::lock_guard<os::Mutex> lock(mutex_);
    return workers_.size();
}

// A task was queued; the mutex is held.
void TaskQueue::call_worker() {
    if (spinning_ + starting_ + sleeping_ >= tasks_.size()) {
        if (spinning_ + starting_ < tasks_.size()) wake_.notify_one();
        return;
    }
    if (workers_.size() < max_workers_) {
        try {
            workers_.emplace_back([this, i = workers_.size()] { run_worker(i); });
            starting_++;
        } catch (const std::exception&) {
            // No thread or no memory is available: the thread that waits for the task runs it.
        }
    }
}

u64 TaskQueue::push_back(BasicAction& action, u64 index, os::JoinCounter& join) {
    return push_back(action, index, index + 1, join);
}

u64 TaskQueue::push_back(BasicAction& action, u64 begin, u64 end, os::JoinCounter& join) {
    const std::lock_guard<os::Mutex> lock(mutex_);
    if (closed_) throw InvalidParametersException("TaskQueue::push_back()", "Queue is closed.");
    // A queue that has room for no more numbers takes nothing.
    if (!tasks_.empty() && kLastId - tasks_.rbegin()->first < end - begin) {
        throw LimitExceededException("TaskQueue::dispatch()", "ID limit exceeded.", kLastId, kLastId);
    }
    const u64 first = tasks_.empty() ? first_id_ : tasks_.rbegin()->first + 1;
    u64 id = first;
    try {
        for (u64 i = begin; i < end; i++, id++) {
            tasks_.emplace_hint(tasks_.end(), id, Task{&action, i, &join});
            length_.store(tasks_.size(), std::memory_order_relaxed);
            call_worker();
        }
    } catch (const std::bad_alloc&) {
        // No worker has had the mutex since, so all of them are still here.
        tasks_.erase(tasks_.lower_bound(first), tasks_.end());
        length_.store(tasks_.size(), std::memory_order_relaxed);
        throw;
    }
    return id - 1;
}

bool TaskQueue::take_back(u64 id, const os::JoinCounter& join, u64& index) {
    const std::lock_guard<os::Mutex> lock(mutex_);
    const auto found = tasks_.find(id);
    // An emptied queue counts from the beginning again, so the number may be another's by now.
    if (found == tasks_.end() || found->second.join != &join) return false;
    index = found->second.index;
    tasks_.erase(found);
    length_.store(tasks_.size(), std::memory_order_relaxed);
    return true;
}

void TaskQueue::run_worker(u64 worker) {
    os::use_crash_stack();
    if (on_start_) on_start_(worker);
    std::unique_lock<os::Mutex> lock(mutex_);
    starting_--;
    while (true) {
        if (tasks_.empty() && !closed_) {
            spinning_++;
            lock.unlock();
            os::SpinWait spin;
            while (length_.load(std::memory_order_relaxed) == 0 && spin.once()) {
            }
            lock.lock();
            spinning_--;
            if (tasks_.empty() && !closed_) {
                sleeping_++;
                wake_.wait(lock, [this] { return closed_ || !tasks_.empty(); });
                sleeping_--;
            }
        }
        if (tasks_.empty()) {
            if (closed_) return;
            continue;
        }
        const Task task = tasks_.begin()->second;
        tasks_.erase(tasks_.begin());
        length_.store(tasks_.size(), std::memory_order_relaxed);
        lock.unlock();
        run_guarded(*task.action, task.index);
        task.join->finish();
        lock.lock();
    }
}

}  // namespace trel
