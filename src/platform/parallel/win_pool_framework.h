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

class WinPoolConfig final : public FrameworkConfig {
  public:
    WinPoolConfig() = default;
    explicit WinPoolConfig(const Config::Object& object);

    std::string name() const override;
    std::string display_name() const override;
    std::unique_ptr<BasicParallelizer> make_framework() const override;
    std::unique_ptr<FrameworkConfig> clone() const override;
    Config::Object to_config() const override;
    u64 print(u64 first_line_number) const override;
    void edit(u64 line) override;

    MaxSequentialDispatch max_sequential_dispatch;

  protected:
    void add_selectors(Config::Object& object) const override;
};

}  // namespace trel
