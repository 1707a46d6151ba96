// Pi and 1/Pi by the series of Chudnovsky (1988) and Ramanujan (1910): the value of a series, then an inverse
// square root, then their product.
#pragma once

#include <memory>

#include "constants/evaluator/evaluator.h"

namespace kalvor {

enum class PiAlgorithm { chudnovsky, ramanujan, chudnovsky_reduced, ramanujan_reduced };

// Pi^power.
class Pi final : public EvaluatorFactory {
  public:
    // power 1 or -1, else InvalidParametersException "Power must be 1 or -1."
    explicit Pi(PiAlgorithm algorithm, int power = 1);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const PiAlgorithm algorithm_;
    const int power_;
};

}  // namespace kalvor
