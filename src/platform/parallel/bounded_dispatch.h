// Dispatch with a bound on how many tasks one thread starts one after another: a large range is cut into
// groups that are themselves dispatched, so the number of running tasks grows exponentially. The base of
// every framework that starts its tasks one by one.
#pragma once

#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// How a range of n > max_sequential indices is cut: groups of `chunk` indices, the last ones shorter or
// empty.
//   b = bit length of n - 1, G = 2^ceil(b / 2): about sqrt(n) groups of about sqrt(n) indices, so that both
//   generations are equally long; never more than max_sequential groups.
struct FanOut {
    u64 groups;
    u64 chunk;
};
// n >= 2. max_sequential below 4 counts as 4.
FanOut fan_out(u64 n, u64 max_sequential);

class BoundedParallelizer : public BasicParallelizer {
  public:
    explicit BoundedParallelizer(u64 max_sequential_dispatch);

    // Nothing for an empty range; one index runs in the calling thread.
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) final;
    using BasicParallelizer::run_in_parallel;

    u64 max_sequential_dispatch() const { return max_sequential_; }

  protected:
    // Starts one task for each of begin ... end - 2, runs end - 1 in the calling thread, then waits for the
    // started ones, last first. 2 <= end - begin <= max_sequential_dispatch.
    virtual void run_flat(BasicAction& action, u64 begin, u64 end) = 0;

  private:
    const u64 max_sequential_;
};

}  // namespace trel
