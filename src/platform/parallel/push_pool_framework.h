// "pushpool": standing workers to which tasks are pushed; a task that no worker takes runs at once in the
// dispatching thread, so nested dispatch never waits for a free worker.
#pragma once

#include "base/settings/word_setting.h"
#include "platform/parallel/bounded_dispatch.h"
#include "platform/parallel/framework_registry.h"
#include "platform/parallel/push_pool.h"

namespace trel {

class PushPoolFramework final : public BoundedParallelizer {
  public:
    // worker_threads counts the dispatching thread: the pool holds one fewer, and never more than
    // most_pool_threads(). 0: as many as dispatches ask
    // for, up to twice the processors, the dispatching thread included.
    PushPoolFramework(u64 worker_threads, bool randomize, u64 max_sequential_dispatch);

    using BoundedParallelizer::run_in_parallel;
    void run_in_parallel(BasicAction& a, BasicAction& b) override;

    // Threads that the pool has now.
    u64 pool_threads() const { return pool_.worker_count(); }

  protected:
    void run_flat(BasicAction& action, u64 begin, u64 end) override;

  private:
    PushPool pool_;
};

class PushPoolConfig final : public FrameworkConfigOf<PushPoolConfig> {
  public:
    static constexpr const char* kName = "pushpool";
    static constexpr const char* kDisplayName = "Push Pool";

    std::unique_ptr<BasicParallelizer> make_framework() const override;
    std::string mode_text() const override;
    u64 worker_threads() const override { return threads.value(); }
    bool limit_threads(u64 n) override {
        threads.set(n);
        return true;
    }

    WorkerThreads threads;
    SwitchSetting randomize{
        "Randomization", "    Thread Randomization:", {"Enabled", 'G'}, {"Disabled", 'R'}, true};
    MaxSequentialDispatch max_sequential_dispatch;

  protected:
    SettingList settings() override { return {&threads, &randomize, &max_sequential_dispatch}; }
};

}  // namespace trel
