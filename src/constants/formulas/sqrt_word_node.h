// "Sqrt" of an integer.
#pragma once

#include <string>

#include "constants/formulas/node.h"

namespace kalvor::Formulas {

// w^(1/2) = w w^(-1/2), w >= 2 and not a square.
class SqrtWordNode final : public Node {
  public:
    explicit SqrtWordNode(Word w) : w_(w) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const Word w_;
};

}  // namespace kalvor::Formulas
