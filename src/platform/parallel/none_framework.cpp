// "none": every task in the calling thread, in order.
#include "platform/parallel/framework_registry.h"

namespace trel {
namespace {

class NoneFramework final : public BasicParallelizer {
  public:
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override {
        for (u64 i = begin; i < end; i++) action.run(i);
    }
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        a.run(0);
        b.run(0);
    }
};

class NoneConfig final : public FrameworkConfigOf<NoneConfig> {
  public:
    static constexpr const char* kName = "none";
    static constexpr const char* kDisplayName = "None (No Multi-threading)";

    std::unique_ptr<BasicParallelizer> make_framework() const override {
        return std::make_unique<NoneFramework>();
    }
    u64 worker_threads() const override { return 1; }
};

const FrameworkRegistration<NoneConfig> g_registration;

}  // namespace

const ParallelContext& serial_context() {
    static NoneFramework none;
    static const ParallelContext context{&none, 1};
    return context;
}

}  // namespace trel
