// "tbb": the tasks of Threading Building Blocks.
#pragma once

#include <array>

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

class TbbConfig final : public FrameworkConfig {
  public:
    static constexpr std::array<const char*, 2> kForkJoin2 = {"task_group", "parallel_invoke"};
    static constexpr std::array<const char*, 4> kParallelFor = {"disabled", "auto_partitioner",
                                                                "static_partitioner", "simple_partitioner"};

    TbbConfig() = default;
    explicit TbbConfig(const Config::Object& object);

    std::string name() const override;
    std::string display_name() const override;
    std::unique_ptr<BasicParallelizer> make_framework() const override;
    std::unique_ptr<FrameworkConfig> clone() const override;
    Config::Object to_config() const override;
    u64 print(u64 first_line_number) const override;
    void edit(u64 line) override;

    TbbFramework::ForkJoin2 fork_join = TbbFramework::ForkJoin2::parallel_invoke;
    TbbFramework::ParallelFor parallel_for = TbbFramework::ParallelFor::disabled;

  protected:
    void add_selectors(Config::Object& object) const override;

  private:
    const char* fork_join_text() const;
    const char* parallel_for_text() const;
};

}  // namespace trel
