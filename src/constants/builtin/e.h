// e and 1/e by the series of exp(1) and of exp(-1).
#pragma once

#include <memory>

#include "constants/evaluator/evaluator.h"

namespace kalvor {

enum class EAlgorithm { exp_1, exp_minus_1 };

// e^power.
class E final : public EvaluatorFactory {
  public:
    // power 1 or -1, else InvalidParametersException "Power must be 1 or -1."; -1 by exp(-1) only ("Inversion
    // not supported for non-alternating series.").
    explicit E(EAlgorithm algorithm, i64 power = 1);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const EAlgorithm algorithm_;
    const int power_;
};

}  // namespace kalvor
