// "Invsqrt" of an integer.
#pragma once

#include "base/names/names.h"
#include "constants/formulas/node.h"
#include "os/types.h"

namespace kalvor::Formulas {

// w^(-1/2), w >= 2 and not a square.
class InvsqrtWordNode final : public Node {
  public:
    explicit InvsqrtWordNode(Word w) : w_(w) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const Word w_;
};

}  // namespace kalvor::Formulas
