// "Invsqrt" of an integer.
#pragma once

#include "constants/formulas/node.h"
#include "os/types.h"

namespace kalvor::Formulas {

// w^(-1/2), w >= 2 and not a square.
class InvsqrtWordNode final : public Node {
  public:
    explicit InvsqrtWordNode(trel::Word w) : w_(w) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const trel::Word w_;
};

}  // namespace kalvor::Formulas
