// What a run would refuse before it computes, for menus: there the user can still choose something else.
#pragma once

#include <vector>

#include "app/settings/compute_settings.h"
#include "digits/output/output_files.h"
#include "os/memory_status.h"

namespace kalvor {

// The digit files of a run, in the order in which they are written.
std::vector<OutputFiles::Request> digit_file_requests(const ComputeSettings& settings);

// Throws what such a run on this machine throws for its size, its memory and the digit files that are there
// already; prints nothing and makes nothing.
void check_start(const ComputeSettings& settings, const os::MemoryStatus& machine = os::memory_status());

}  // namespace kalvor
