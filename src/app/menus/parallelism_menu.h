// The menu of the parallelization settings.
#pragma once

#include "base/names/names.h"
#include "platform/parallel/parallelism_settings.h"

namespace kalvor {

// Edits the settings until the user is done. Throws EndOfStreamException at the end of the input.
void parallelism_menu(ParallelismSettings& settings);

}  // namespace kalvor
