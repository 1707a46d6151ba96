// A node whose value an evaluator computes: a constant, a series, a root of an integer.
#pragma once

#include <functional>
#include <memory>

#include "constants/evaluator/evaluator.h"
#include "constants/formulas/formula_node.h"

namespace kalvor::Formulas {

using MakeEvaluator = std::function<std::unique_ptr<Evaluator>(const EvaluatorRequest&)>;

class LeafNode final : public VFormulaNode {
  public:
    // make is asked for every precision that a plan is made for, and may throw.
    LeafNode(const Place& place, MakeEvaluator make);
    std::unique_ptr<Step> make_step(const StepRequest& request) const override;

  private:
    const MakeEvaluator make_;
};

}  // namespace kalvor::Formulas
