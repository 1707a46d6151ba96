// "spawn": one new thread for every task. It keeps no threads between dispatches, so a task never waits for a
// free worker and nested dispatch cannot deadlock; the price is the creation of each thread.
#pragma once

#include "platform/parallel/bounded_dispatch.h"
#include "platform/parallel/framework_registry.h"

namespace trel {

class SpawnFramework final : public BoundedParallelizer {
  public:
    using BoundedParallelizer::BoundedParallelizer;

    using BoundedParallelizer::run_in_parallel;
    void run_in_parallel(BasicAction& a, BasicAction& b) override;

  protected:
    void run_flat(BasicAction& action, u64 begin, u64 end) override;
};

class SpawnConfig final : public FrameworkConfigOf<SpawnConfig> {
  public:
    static constexpr const char* kName = "spawn";
    static constexpr const char* kDisplayName = "Thread Spawn (1 Thread/Task)";

    std::unique_ptr<BasicParallelizer> make_framework() const override;

    MaxSequentialDispatch max_sequential_dispatch;

  protected:
    SettingList settings() override { return {&max_sequential_dispatch}; }
};

}  // namespace trel
