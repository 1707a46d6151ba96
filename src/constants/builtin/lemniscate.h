// The lemniscate constant 5.244115..., the length of the lemniscate of radius 1:
//
//   AGM-Pi   2 Pi / AGM(1, 2^(1/2))
//   Gauss    8 arcsinlemn(1/2) + 4 arcsinlemn(7/23)
//   Sebah    8 arcsinlemn(2/3) - 4 arcsinlemn(7/137)
#pragma once

#include "constants/evaluator/evaluator.h"

namespace kalvor {

enum class LemniscateAlgorithm { agm_pi, gauss, sebah };

class Lemniscate final : public EvaluatorFactory {
  public:
    // power 1 or -1, -1 for AGM-Pi alone; else InvalidParametersException.
    explicit Lemniscate(LemniscateAlgorithm algorithm, i64 power = 1);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const LemniscateAlgorithm algorithm_;
    const bool inverse_;
};

}  // namespace kalvor
