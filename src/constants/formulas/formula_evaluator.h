// The evaluator of a formula.
#pragma once

#include <memory>

#include "constants/evaluator/evaluator.h"
#include "constants/formulas/formula_node.h"

namespace kalvor::Formulas {

// The value of a tree, which the evaluator may outlive. run_plan.h says in which order and in which memory it
// is computed.
std::unique_ptr<Evaluator> make_formula_evaluator(const VFormulaNode& root, const EvaluatorRequest& request);

}  // namespace kalvor::Formulas
