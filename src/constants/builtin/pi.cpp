#include "constants/builtin/pi.h"

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "constants/builtin/built_in_value.h"
#include "constants/formulas/invsqrt_word_node.h"
#include "constants/formulas/product.h"

namespace kalvor {

using BinarySplitting::SeriesMemory;

namespace {

bool is_chudnovsky(PiAlgorithm algorithm) {
    return algorithm == PiAlgorithm::chudnovsky || algorithm == PiAlgorithm::chudnovsky_reduced;
}
SeriesMemory memory_of(PiAlgorithm algorithm) {
    return algorithm == PiAlgorithm::chudnovsky_reduced || algorithm == PiAlgorithm::ramanujan_reduced
               ? SeriesMemory::reduced
               : SeriesMemory::full;
}

// Pi^power = x invsqrt^(-1/2), x = ((P S + Q) / D)^-power.
struct Finish {
    i64 P, Q, D;
    Word invsqrt;
};

// 4270934400 = 426880 * 10005.
Finish finish_of(bool chudnovsky, const BuiltInSeries& row, int power) {
    const Word root = chudnovsky ? 10005 : 8;
    if (power == 1) return {row.coefficient_P, row.coefficient_Q, row.coefficient_D, root};
    if (chudnovsky) return {1, 13591409, 426880, 10005};
    return {4, 4412, 9801, 2};
}

}  // namespace

Pi::Pi(PiAlgorithm algorithm, int power) : algorithm_(algorithm), power_(power) {
    if (power != 1 && power != -1) throw InvalidParametersException("Pi", "Power must be 1 or -1.");
}

std::unique_ptr<Evaluator> Pi::make_evaluator(const EvaluatorRequest& request) const {
    const bool chudnovsky = is_chudnovsky(algorithm_);
    const BuiltInSeries& row = pi_series()[chudnovsky ? 0 : 1];
    const Finish finish = finish_of(chudnovsky, row, power_);
    return Formulas::make_product(
        request, BuiltInValue(row, finish.P, finish.Q, finish.D, -power_, memory_of(algorithm_)),
        Formulas::InvsqrtWordNode(finish.invsqrt), "Pi - " + std::string(row.name) + ":");
}

}  // namespace kalvor
