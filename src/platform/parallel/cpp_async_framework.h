// "cppasync": every task is an asynchronous task of the standard library.
#pragma once

#include <future>

#include "platform/parallel/bounded_dispatch.h"
#include "platform/parallel/framework_registry.h"

namespace trel {

class CppAsyncFramework final : public BoundedParallelizer {
  public:
    CppAsyncFramework(std::launch policy, u64 max_sequential_dispatch)
        : BoundedParallelizer(max_sequential_dispatch), policy_(policy) {}

    using BoundedParallelizer::run_in_parallel;
    void run_in_parallel(BasicAction& a, BasicAction& b) override;

    std::launch policy() const { return policy_; }

  protected:
    void run_flat(BasicAction& action, u64 begin, u64 end) override;

  private:
    const std::launch policy_;
};

class CppAsyncConfig final : public FrameworkConfig {
  public:
    CppAsyncConfig() = default;
    explicit CppAsyncConfig(const Config::Object& object);

    std::string name() const override;
    std::string display_name() const override;
    std::unique_ptr<BasicParallelizer> make_framework() const override;
    std::unique_ptr<FrameworkConfig> clone() const override;
    Config::Object to_config() const override;
    u64 print(u64 first_line_number) const override;
    void edit(u64 line) override;
    std::string mode_text() const override;

    std::launch policy() const;

    bool async_only = true;  // otherwise the library may put a task off until it is waited for
    MaxSequentialDispatch max_sequential_dispatch;

  protected:
    void add_selectors(Config::Object& object) const override;
};

}  // namespace trel
