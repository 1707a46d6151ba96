#include "constants/builtin/pi.h"

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/series_value.h"
#include "constants/builtin/pi_series.h"
#include "constants/formulas/invsqrt_word_node.h"
#include "constants/formulas/product.h"

namespace kalvor {

using BinarySplitting::Coefficients;
using BinarySplitting::SeriesMemory;

namespace {

struct Finish {
    Coefficients coefficients;
    Word invsqrt;
};

// Pi^power = x invsqrt^(-1/2). 4270934400 = 426880 * 10005.
Finish finish_of(PiSeriesKind kind, int power) {
    if (kind == PiSeriesKind::chudnovsky) {
        return {{1, 13591409, power == 1 ? Word(4270934400) : Word(426880), -power, true}, 10005};
    }
    if (power == 1) return {{1, 1103, 9801, -1, false}, 8};
    return {{4, 4412, 9801, 1, false}, 2};
}

PiSeriesKind kind_of(PiAlgorithm algorithm) {
    return algorithm == PiAlgorithm::chudnovsky || algorithm == PiAlgorithm::chudnovsky_reduced
               ? PiSeriesKind::chudnovsky
               : PiSeriesKind::ramanujan;
}
SeriesMemory memory_of(PiAlgorithm algorithm) {
    return algorithm == PiAlgorithm::chudnovsky_reduced || algorithm == PiAlgorithm::ramanujan_reduced
               ? SeriesMemory::reduced
               : SeriesMemory::full;
}

class PiSeriesValue final : public EvaluatorFactory {
  public:
    PiSeriesValue(PiSeriesKind kind, const Coefficients& coefficients, SeriesMemory memory)
        : kind_(kind), coefficients_(coefficients), memory_(memory) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        return BinarySplitting::make_series_evaluator<BinarySplitting::CommonP2B3::Family>(
            std::make_shared<const PiSeries>(kind_, request.precision), coefficients_, request, memory_);
    }

  private:
    const PiSeriesKind kind_;
    const Coefficients coefficients_;
    const SeriesMemory memory_;
};

}  // namespace

Pi::Pi(PiAlgorithm algorithm, int power) : algorithm_(algorithm), power_(power) {
    if (power != 1 && power != -1) throw InvalidParametersException("Pi", "Power must be 1 or -1.");
}

std::unique_ptr<Evaluator> Pi::make_evaluator(const EvaluatorRequest& request) const {
    const PiSeriesKind kind = kind_of(algorithm_);
    const Finish finish = finish_of(kind, power_);
    return Formulas::make_product(
        request, PiSeriesValue(kind, finish.coefficients, memory_of(algorithm_)),
        Formulas::InvsqrtWordNode(finish.invsqrt),
        kind == PiSeriesKind::chudnovsky ? "Pi - Chudnovsky (1988):" : "Pi - Ramanujan (1910):");
}

}  // namespace kalvor
