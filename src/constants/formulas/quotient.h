// The quotient of two values, one computed after the other.
#pragma once

#include <memory>
#include <string>

#include "constants/evaluator/evaluator.h"

namespace kalvor::Formulas {

// What is done with a quotient before it is handed over.
enum class AfterDivision { nothing, twice, half };

// x / y. y is computed first and waits in the buffer of the result while x is computed. Working memory:
//
//   [all that y takes]
//   [x][all that x takes]
//   [x][the quotient][the division's own]
//
// label: what a run announces itself with.
std::unique_ptr<Evaluator> make_quotient(const EvaluatorRequest& request, const EvaluatorFactory& x,
                                         const EvaluatorFactory& y, AfterDivision after, std::string label);

}  // namespace kalvor::Formulas
