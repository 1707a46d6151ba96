// The logarithm of a whole number as a sum of area cotangents (log_formula.h), one series after the other.
#pragma once

#include "constants/builtin/log_tables.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor {

class LogMachin final : public EvaluatorFactory {
  public:
    // By the generated formula; throws what generate_log_formula() throws.
    explicit LogMachin(u64 x, LogFormulaKind kind = LogFormulaKind::primary);
    // By a formula of x.
    LogMachin(u64 x, LogFormula formula);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

    const LogFormula& formula() const { return formula_; }

  private:
    const u64 x_;
    const LogFormula formula_;
};

}  // namespace kalvor
