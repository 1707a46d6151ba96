// "tbb": the tasks of Threading Building Blocks.
#pragma once

#include "base/settings/word_setting.h"
#include "platform/parallel/framework_registry.h"

namespace trel {

class TbbFramework final : public BasicParallelizer {
  public:
    enum class ForkJoin2 : u32 { task_group, parallel_invoke };
    enum class ParallelFor : u32 { disabled, auto_partitioner, static_partitioner, simple_partitioner };

    TbbFramework(ForkJoin2 fork_join, ParallelFor parallel_for)
        : fork_join_(fork_join), parallel_for_(parallel_for) {}

    // Throws InvalidParametersException "Invalid parallel_for() partitioner." for a mode that is none of the
    // four.
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override;
    void run_in_parallel(BasicAction& a, BasicAction& b) override;

    ForkJoin2 fork_join() const { return fork_join_; }
    ParallelFor parallel_for() const { return parallel_for_; }

  private:
    template <class A, class B>
    void fork(const A& a, const B& b) const;

    const ForkJoin2 fork_join_;
    const ParallelFor parallel_for_;
};

class TbbConfig final : public FrameworkConfigOf<TbbConfig> {
  public:
    static constexpr const char* kName = "tbb";
    static constexpr const char* kDisplayName = "Thread Building Blocks (TBB)";

    std::unique_ptr<BasicParallelizer> make_framework() const override;
    TbbConfig();

    WordSetting fork_join, parallel_for;

  protected:
    SettingList settings() override { return {&fork_join, &parallel_for}; }
    void print_heading() const override;
};

}  // namespace trel
