// The menu of constants. A constant's algorithms have one of their own: Constant::algorithm_menu().
#pragma once

#include <memory>

#include "constants/catalog/catalog.h"

namespace kalvor {

// Shows every row, asks for a number, and what the constant wants to know. nullptr: keep what was chosen
// before. The number of a row without a factory is answered, and asked for again. Throws EndOfStreamException
// at the end of the input.
std::unique_ptr<Constant> choose_constant_menu(const Catalog& catalog = kalvor::catalog());

}  // namespace kalvor
