// What the digit files of a computation will take on the disk.
#pragma once

#include "app/settings/compute_settings.h"
#include "base/names/names.h"

namespace kalvor {

// Exact, of all files of all radices; 0 when no digits are written.
u64 output_bytes(const ComputeSettings& settings);

}  // namespace kalvor
