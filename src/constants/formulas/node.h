// A node of a formula. Whatever makes evaluators is one, so that a built-in constant stands in a formula as
// it is; nodes own their children.
#pragma once

#include <memory>

#include "constants/evaluator/evaluator.h"

namespace kalvor::Formulas {

using Node = EvaluatorFactory;
using NodePtr = std::unique_ptr<const Node>;

}  // namespace kalvor::Formulas
