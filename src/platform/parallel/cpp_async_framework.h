// "cppasync": every task is an asynchronous task of the standard library.
#pragma once

#include <future>

#include "base/settings/word_setting.h"
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

class CppAsyncConfig final : public FrameworkConfigOf<CppAsyncConfig> {
  public:
    static constexpr const char* kName = "cppasync";
    static constexpr const char* kDisplayName = "C++ std::async()";

    std::unique_ptr<BasicParallelizer> make_framework() const override;
    std::string mode_text() const override;
    std::launch policy() const;

    // Otherwise the library may put a task off until it is waited for.
    SwitchSetting async_only{"AsyncOnly",
                             "    Launch Policy: ",
                             {"std::launch::async", 'Y'},
                             {"std::launch::async | std::launch::deferred", 'Y'},
                             true};
    MaxSequentialDispatch max_sequential_dispatch;

  protected:
    SettingList settings() override { return {&async_only, &max_sequential_dispatch}; }
};

}  // namespace trel
