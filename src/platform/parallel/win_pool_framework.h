// "winpool": every task is a work item of the system's thread pool.
#pragma once

#include "os/thread_pool.h"
#include "platform/parallel/bounded_dispatch.h"
#include "platform/parallel/framework_registry.h"

namespace trel {

class WinPoolFramework final : public BoundedParallelizer {
  public:
    using CreateWork = os::PoolWork* (*)(void (*run)(void*), void* argument) noexcept;

    // `create` stands in for the system's call in tests.
    explicit WinPoolFramework(u64 max_sequential_dispatch, CreateWork create = os::create_pool_work)
        : BoundedParallelizer(max_sequential_dispatch), create_(create) {}

    // Throws ResourceAcquisitionFailedException "Unable to create thread pool work." in the dispatching
    // thread, after what was started has finished.
    using BoundedParallelizer::run_in_parallel;
    void run_in_parallel(BasicAction& a, BasicAction& b) override;

  protected:
    void run_flat(BasicAction& action, u64 begin, u64 end) override;

  private:
    const CreateWork create_;
};

class WinPoolConfig final : public FrameworkConfigOf<WinPoolConfig> {
  public:
    static constexpr const char* kName = "winpool";
    static constexpr const char* kDisplayName = "Windows Thread Pool";

    std::unique_ptr<BasicParallelizer> make_framework() const override;

    MaxSequentialDispatch max_sequential_dispatch;

  protected:
    SettingList settings() override { return {&max_sequential_dispatch}; }
};

}  // namespace trel
