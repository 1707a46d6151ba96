// The logarithm of a value by the mean as a step: from x, Pi and ln 2, in this order.
#pragma once

#include "arith/newton/log_agm.h"
#include "constants/formulas/step.h"

namespace kalvor::Formulas {

class LogStep final : public Step {
  public:
    explicit LogStep(const StepRequest& request);
    u64 extra_bits() const override;
    std::vector<WorkPhase> work() const override;
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                      BigFloat& result) const override;

  private:
    const LogAgmPlan plan_;
};

}  // namespace kalvor::Formulas
