#include "platform/parallel/basic_parallelizer.h"

namespace trel {
namespace {

class Serial final : public BasicParallelizer {
  public:
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override {
        for (u64 i = begin; i < end; i++) action.run(i);
    }
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        a.run(0);
        b.run(0);
    }
};

}  // namespace

BasicAction::~BasicAction() = default;
BasicParallelizer::~BasicParallelizer() = default;

const ParallelContext& serial_context() {
    static Serial serial;
    static const ParallelContext context{&serial, 1};
    return context;
}

}  // namespace trel
