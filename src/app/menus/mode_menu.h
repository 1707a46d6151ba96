// The choice of the computation mode.
#pragma once

#include <string>

#include "base/names/names.h"

namespace kalvor {

// Shows what each mode takes and reads a choice. There is one mode today, so that nothing changes by it.
// ram_memory: the estimate as a text, "Not Supported" where the size has no algorithm. Throws
// EndOfStreamException at the end of the input.
void mode_menu(const std::string& ram_memory);

}  // namespace kalvor
