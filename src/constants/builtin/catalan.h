// Catalan's constant 0.915965...: 1 - 1/3^2 + 1/5^2 - 1/7^2 + ..., by one of several series.
#pragma once

#include "constants/evaluator/evaluator.h"

namespace kalvor {

// Rows of catalan_series(), and Huvent's series behind them.
enum class CatalanAlgorithm {
    pilehrood_short = 0,
    guillera_2019 = 1,
    pilehrood_long = 2,
    guillera_2008 = 3,
    lupas = 4,
    huvent = 5
};

// Catalan's constant^power.
class Catalan final : public EvaluatorFactory {
  public:
    // power 1 or -1, else InvalidParametersException "Power must be 1 or -1."
    explicit Catalan(CatalanAlgorithm algorithm, i64 power = 1);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const CatalanAlgorithm algorithm_;
    const int power_;
};

}  // namespace kalvor
