// The product of two values, one computed after the other.
#pragma once

#include <memory>
#include <string>

#include "constants/evaluator/evaluator.h"

namespace kalvor::Formulas {

// The first value waits in the buffer of the result while the second is computed. Working memory:
//
//   [all that the first takes]
//   [the second value][all that the second takes]
//   [the second value][the product][its scratch]
//
// label: what a run announces itself with; nothing when it is empty.
std::unique_ptr<Evaluator> make_product(const EvaluatorRequest& request, const EvaluatorFactory& first,
                                        const EvaluatorFactory& second, std::string label);

}  // namespace kalvor::Formulas
