// The golden ratio (5^(1/2) + 1) / 2 and its inverse (5^(1/2) - 1) / 2.
#pragma once

#include "constants/evaluator/evaluator.h"

namespace kalvor {

class GoldenRatio final : public EvaluatorFactory {
  public:
    // power 1 or -1, else InvalidParametersException "Power must be 1 or -1."
    explicit GoldenRatio(i64 power = 1);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const bool inverse_;
};

}  // namespace kalvor
