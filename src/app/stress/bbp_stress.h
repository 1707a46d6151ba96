// The test that sums terms of the extractor.
#pragma once

#include "app/stress/stress_test.h"
#include "digits/bbp/bbp_kernels.h"

namespace kalvor {

// A fixed range of terms, by the arithmetics of modes A and B in turn; the sum is compared with the one that
// mode C gave when the worker was made. Needs none of the worker's memory.
class BbpStress final : public StressTest {
  public:
    // The kernels outlive it.
    explicit BbpStress(const BbpKernels& kernels = bbp_kernels());

    u64 size_for(u64 bytes) const override;
    std::unique_ptr<StressWorker> make_worker(const WorkerPlace& place) const override;

  private:
    const BbpKernels& kernels_;
};

const StressTest& bbp_stress();

}  // namespace kalvor
