// The digit files that settings ask for.
#pragma once

#include <vector>

#include "app/settings/compute_settings.h"
#include "base/names/names.h"
#include "digits/output/output_files.h"

namespace kalvor {

// Hexadecimal before decimal; none with the output off.
std::vector<OutputFiles::Request> output_requests(const ComputeSettings& settings);

}  // namespace kalvor
