// "AGM" of one value: AGM(1, x).
#pragma once

#include "constants/formulas/node.h"

namespace kalvor::Formulas {

class AgmNode final : public Node {
  public:
    explicit AgmNode(NodePtr x);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const NodePtr x_;
};

}  // namespace kalvor::Formulas
