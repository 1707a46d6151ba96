// From the text of a formula to its tree. The text comes from anywhere: a file, settings, memory.
#pragma once

#include <memory>

#include "constants/formulas/formula_node.h"

namespace kalvor::Formulas {

// value: an integer, a variable's name, or an object with one key, the function, whose value is its argument.
// Throws InvalidParametersException with the place and the text of what is wrong, and the type errors of
// Config::Node. The tree keeps nothing of the text.
std::unique_ptr<VFormulaNode> build(const Config::Node& value, const WarningSink& warn);

}  // namespace kalvor::Formulas
