// "taskqueue": a central queue served by workers. A thread that waits for its tasks runs those that no worker
// has begun, so nested dispatch finishes however few workers there are.
#pragma once

#include "platform/parallel/framework_registry.h"
#include "platform/parallel/task_queue.h"

namespace trel {

class TaskQueueFramework final : public BasicParallelizer {
  public:
    explicit TaskQueueFramework(u64 worker_threads);  // 0 = unlimited

    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override;
    void run_in_parallel(BasicAction& a, BasicAction& b) override;

    u64 worker_count() const { return queue_.worker_count(); }

  private:
    TaskQueue queue_;
};

class TaskQueueConfig final : public FrameworkConfigOf<TaskQueueConfig> {
  public:
    static constexpr const char* kName = "taskqueue";
    static constexpr const char* kDisplayName = "Central Dispatch Queue";

    std::unique_ptr<BasicParallelizer> make_framework() const override;
    u64 worker_threads() const override { return threads.value(); }
    // The dispatching thread works beside the pool's.
    bool limit_threads(u64 n) override {
        threads.set(n - 1);
        return true;
    }

    WorkerThreads threads;

  protected:
    SettingList settings() override { return {&threads}; }
};

}  // namespace trel
