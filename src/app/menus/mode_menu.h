// The choice of the computation mode.
#pragma once

#include <string>

#include "base/names/names.h"
#include "constants/catalog/constant.h"

namespace kalvor {

// Shows what each mode takes and reads a choice. There is one mode today, so that nothing changes by it.
// ram_memory: the estimate as a text, "Not Supported" where the size has no algorithm; modes that the
// constant does not support have that text too. Throws EndOfStreamException at the end of the input.
void mode_menu(const Constant& constant, const std::string& ram_memory);

}  // namespace kalvor
