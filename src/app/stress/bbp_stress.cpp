#include "app/stress/bbp_stress.h"

#include "base/errors/exceptions.h"
#include "digits/bbp/range_sum.h"

namespace kalvor {

namespace {

using BBPv2::FractionFloat;
using BBPv2::Mode;
using BBPv2::RangeSum;
using BBPv2::SubSum;

constexpr u64 kTerms = 65536;
constexpr u64 kLimbs = 4;
// The last divisor, 8 k + 1, is the largest that mode A takes, less a little; the exponents have some 40
// bits.
constexpr u64 kFirstTerm = (u64(1) << 46) - kTerms - 8;
constexpr u64 kOffset = kFirstTerm + 200000000000;
constexpr const char* kTag = "BBP";

class BbpWorker final : public StressWorker {
  public:
    BbpWorker(const WorkerPlace& place, const BbpKernels& kernels)
        : place_(place),
          sub_sum_(at_offset(BBPv2::formula(BBPv2::kOriginalBbp).sub_sums[0], kOffset)),
          sum_(kLimbs, kernels),
          expected_(summed(Mode::c)) {}

    void iterate(u64 iteration) override {
        FractionFloat found = summed(iteration % 2 == 0 ? Mode::a : Mode::b);
        if (place_.fault.at) {
            place_.fault.at(place_.core, kTag, iteration, found.limbs().data(), found.limbs().size_bytes());
        }
        if (!(found == expected_))
            throw AlgorithmFailedException("BbpWorker::iterate()", "Checksum Mismatch");
    }

  private:
    FractionFloat summed(Mode mode) {
        sum_.add(sub_sum_, mode, kFirstTerm, kFirstTerm + kTerms, [this](u64) {
            if (place_.monitor.stop.requested()) throw RunStopped();
        });
        return sum_.take();
    }

    const WorkerPlace place_;
    const SubSum sub_sum_;
    RangeSum sum_;
    const FractionFloat expected_;
};

}  // namespace

BbpStress::BbpStress(const BbpKernels& kernels)
    : StressTest({kTag, "BBP Digit Extraction", "terms", "AVX512 Float", 0}, true), kernels_(kernels) {}

u64 BbpStress::size_for(u64) const {
    return kTerms;
}

std::unique_ptr<StressWorker> BbpStress::make_worker(const WorkerPlace& place) const {
    return std::make_unique<BbpWorker>(place, kernels_);
}

const StressTest& bbp_stress() {
    static const BbpStress test;
    return test;
}

}  // namespace kalvor
