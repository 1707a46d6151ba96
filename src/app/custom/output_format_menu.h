// The menu of the form in which digits are written.
#pragma once

#include "app/settings/compute_settings.h"
#include "base/names/names.h"

namespace kalvor {

// Asks once. Compressed files of too few digits are refused: the digits then go into text files. Throws
// EndOfStreamException at the end of the input.
void output_format_menu(ComputeSettings& settings);

}  // namespace kalvor
