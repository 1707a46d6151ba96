// One thread for each memory node, bound to the node's processors.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <queue>
#include <thread>
#include <utility>
#include <vector>

#include "os/join_counter.h"
#include "os/sync.h"
#include "os/types.h"

namespace trel {

// Test, then test-and-set, with a pause between.
class SpinLock {
  public:
    void lock();
    void unlock() { held_.store(false, std::memory_order_release); }

  private:
    std::atomic<bool> held_{false};
};

// A thread and its tasks, which run one after the other. An exception that leaves a task ends the process.
class NodeWorker {
  public:
    NodeWorker();
    ~NodeWorker();  // runs what is queued first
    NodeWorker(const NodeWorker&) = delete;
    NodeWorker& operator=(const NodeWorker&) = delete;

    // `join` is notified when the task has finished.
    void push(std::function<void()> task, os::JoinCounter& join);

  private:
    struct Task {
        std::function<void()> run;
        os::JoinCounter* join;
    };

    void run_thread();

    os::Mutex mutex_;
    os::ConditionVariable wake_;
    std::queue<Task> tasks_;
    bool ending_ = false;
    std::thread thread_;
};

// The workers by node, each created when it is first asked for. The tasks bind their thread themselves. Any
// thread.
class NodeWorkers {
  public:
    NodeWorkers() : make_([] { return std::make_unique<NodeWorker>(); }) {}
    // `make` stands in for the start of a thread in tests.
    explicit NodeWorkers(std::function<std::unique_ptr<NodeWorker>()> make) : make_(std::move(make)) {}

    // Throws the system's error when no thread can be started.
    NodeWorker& worker(u32 node);

    // Those of the process.
    static NodeWorkers& of_this_machine();

  private:
    const std::function<std::unique_ptr<NodeWorker>()> make_;
    SpinLock lock_;
    std::map<u32, std::unique_ptr<NodeWorker>> workers_;
};

}  // namespace trel
