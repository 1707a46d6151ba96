// The menu that chooses logical cores.
#pragma once

#include <string>
#include <vector>

#include "base/names/names.h"
#include "os/types.h"
#include "platform/sysinfo/core_numbers.h"

namespace kalvor {

// The label padded to the width, and the cores as ranges; what does not fit into 79 columns goes on below.
void print_core_lines(const std::string& label, u64 width, const std::vector<u32>& cores);

// Toggles cores until an empty line, and at least one is left. Throws EndOfStreamException at the end of the
// input.
std::vector<u32> core_menu(const std::vector<u32>& active, const CoreNumbers& numbers);

}  // namespace kalvor
