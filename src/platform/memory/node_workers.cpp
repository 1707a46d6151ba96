#include "platform/memory/node_workers.h"

#include "base/errors/fatal.h"
#include "os/crash_handler.h"

namespace trel {

void SpinLock::lock() {
    while (true) {
        if (!held_.exchange(true, std::memory_order_acquire)) return;
        while (held_.load(std::memory_order_relaxed)) __builtin_ia32_pause();
    }
}

NodeWorker::NodeWorker() : thread_([this] { run_thread(); }) {}

NodeWorker::~NodeWorker() {
    {
        const std::lock_guard<os::Mutex> lock(mutex_);
        ending_ = true;
        wake_.notify_one();
    }
    thread_.join();
}

void NodeWorker::push(std::function<void()> task, os::JoinCounter& join) {
    const std::lock_guard<os::Mutex> lock(mutex_);
    tasks_.push({std::move(task), &join});
    wake_.notify_one();
}

void NodeWorker::run_thread() {
    os::use_crash_stack();
    std::unique_lock<os::Mutex> lock(mutex_);
    while (true) {
        wake_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
        if (tasks_.empty()) return;
        Task task = std::move(tasks_.front());
        tasks_.pop();
        lock.unlock();
        try {
            task.run();
        } catch (...) {
            fatal_thread_exception("NodeAllocator: An exception was thrown from a task.");
        }
        task.join->finish();
        lock.lock();
    }
}

NodeWorker& NodeWorkers::worker(u32 node) {
    const std::lock_guard<SpinLock> lock(lock_);
    std::unique_ptr<NodeWorker>& worker = workers_[node];
    if (!worker) worker = make_();
    return *worker;
}

NodeWorkers& NodeWorkers::of_this_machine() {
    static NodeWorkers& workers = *new NodeWorkers;
    return workers;
}

}  // namespace trel
