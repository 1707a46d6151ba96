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

class SpawnConfig final : public FrameworkConfig {
  public:
    SpawnConfig() = default;
    explicit SpawnConfig(const Config::Object& object);
    explicit SpawnConfig(u64 max_sequential_dispatch) : max_sequential_dispatch_(max_sequential_dispatch) {}

    std::string name() const override;
    std::string display_name() const override;
    std::unique_ptr<BasicParallelizer> make_framework() const override;
    std::unique_ptr<FrameworkConfig> clone() const override;
    Config::Object to_config() const override;
    u64 print(u64 first_line_number) const override;
    void edit(u64 line) override;
    u64 max_sequential_dispatch() const { return max_sequential_dispatch_.value(); }

  protected:
    void add_selectors(Config::Object& object) const override;

  private:
    MaxSequentialDispatch max_sequential_dispatch_;
};

}  // namespace trel
