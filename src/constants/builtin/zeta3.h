// zeta(3), Apery's constant 1.202056...: the sum of 1/k^3, by the series of Wedeniwski or of Amdeberhan and
// Zeilberger.
#pragma once

#include "constants/evaluator/evaluator.h"

namespace kalvor {

// Rows of zeta3_series().
enum class Zeta3Algorithm { wedeniwski = 0, amdeberhan_zeilberger = 1 };

// zeta(3)^power.
class Zeta3 final : public EvaluatorFactory {
  public:
    // power 1 or -1, else InvalidParametersException "Power must be 1 or -1."
    explicit Zeta3(Zeta3Algorithm algorithm, i64 power = 1);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const Zeta3Algorithm algorithm_;
    const int power_;
};

}  // namespace kalvor
