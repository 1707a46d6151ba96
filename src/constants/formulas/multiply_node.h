// "Multiply": the product of two values.
#pragma once

#include "constants/formulas/node.h"

namespace kalvor::Formulas {

class MultiplyNode final : public Node {
  public:
    MultiplyNode(NodePtr first, NodePtr second);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const NodePtr first_, second_;
};

}  // namespace kalvor::Formulas
