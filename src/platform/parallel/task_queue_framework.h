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

class TaskQueueConfig final : public FrameworkConfig {
  public:
    TaskQueueConfig() = default;
    explicit TaskQueueConfig(const Config::Object& object);

    std::string name() const override;
    std::string display_name() const override;
    std::unique_ptr<BasicParallelizer> make_framework() const override;
    std::unique_ptr<FrameworkConfig> clone() const override;
    Config::Object to_config() const override;
    u64 print(u64 first_line_number) const override;
    void edit(u64 line) override;
    u64 worker_threads() const override { return threads.value(); }

    WorkerThreads threads;

  protected:
    void add_selectors(Config::Object& object) const override;
};

}  // namespace trel
