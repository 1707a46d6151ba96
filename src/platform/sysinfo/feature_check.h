// The start-up checks of the machine. They warn; the program goes on in every case.
#pragma once

#include <vector>

#include "os/types.h"
#include "platform/sysinfo/processor_features.h"

namespace trel {

// Whether the processor and the operating system have every feature that print_hardware_features() marks as
// required, and the processor names its vendor. The list that print_feature_check() prints names BMI1 and
// AVX512-CD too, which come with the others and decide nothing.
bool check_features(const ProcessorFeatures& features);

// Prints the required features and, when the check fails, the warning, with a pause unless warnings are
// skipped.
void print_feature_check(const ProcessorFeatures& features, bool skip_warnings);

// Active processors of each processor group.
std::vector<u32> processor_group_sizes();
// Warns and pauses when groups differ in size from group 0; prints nothing otherwise.
void print_group_balance_check(const std::vector<u32>& group_sizes);

// The page "Hardware Features": every feature with "Yes" or "No".
void print_hardware_features(const ProcessorFeatures& features);

}  // namespace trel
