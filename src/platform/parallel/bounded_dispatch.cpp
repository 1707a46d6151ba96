#include "platform/parallel/bounded_dispatch.h"

#include <algorithm>
#include <bit>

#include "platform/parallel/framework_settings.h"

namespace trel {
namespace {

// Runs group g of a cut range as a dispatch of its own.
class FanOutAction final : public BasicAction {
  public:
    FanOutAction(BasicParallelizer& framework, BasicAction& action, u64 begin, u64 end, u64 chunk)
        : framework_(framework), action_(action), begin_(begin), end_(end), chunk_(chunk) {}

    void run(u64 group) override {
        const u64 n = end_ - begin_;
        const u64 first = std::min(group * chunk_, n);
        const u64 last = std::min(first + chunk_, n);
        if (first < last) framework_.run_in_parallel(action_, begin_ + first, begin_ + last);
    }

  private:
    BasicParallelizer& framework_;
    BasicAction& action_;
    const u64 begin_;
    const u64 end_;
    const u64 chunk_;
};

}  // namespace

FanOut fan_out(u64 n, u64 max_sequential) {
    const u64 limit = MaxSequentialDispatch(max_sequential).value();
    const unsigned bits = static_cast<unsigned>(std::bit_width(n - 1));
    const unsigned k = (bits + 1) / 2;
    const u64 groups = u64(1) << k;
    if (groups > limit) return {limit, (n - 1) / limit + 1};
    return {groups, ((n - 1) >> k) + 1};
}

BoundedParallelizer::BoundedParallelizer(u64 max_sequential_dispatch)
    : max_sequential_(MaxSequentialDispatch(max_sequential_dispatch).value()) {}

void BoundedParallelizer::run_in_parallel(BasicAction& action, u64 begin, u64 end) {
    if (end <= begin) return;
    const u64 n = end - begin;
    if (n == 1) {
        action.run(begin);
    } else if (n > max_sequential_) {
        const FanOut cut = fan_out(n, max_sequential_);
        FanOutAction groups(*this, action, begin, end, cut.chunk);
        run_flat(groups, 0, cut.groups);
    } else {
        run_flat(action, begin, end);
    }
}

}  // namespace trel
