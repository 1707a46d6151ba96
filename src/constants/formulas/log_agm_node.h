// "Log-AGM": the logarithm of a value by the mean.
#pragma once

#include "constants/formulas/node.h"

namespace kalvor::Formulas {

// ln x, from Pi and ln 2.
class LogAgmNode final : public Node {
  public:
    LogAgmNode(NodePtr x, NodePtr pi, NodePtr log2);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const NodePtr x_, pi_, log2_;
};

}  // namespace kalvor::Formulas
