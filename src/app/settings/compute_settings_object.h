// The settings of a computation as a configuration object ("CustomCompute" of a settings file).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/settings/compute_settings.h"
#include "base/config/node.h"

namespace kalvor {

// Keys "Constant", "ComputeSize", "Output", "OutputVerify", "Mode", "Parallelism", "Allocator"; all are
// required. Those of swap mode ("Memory", "Checkpointing", "FarMemoryTuning", "FarMemoryConfig") are allowed
// and not looked at. Digit counts out of bounds and compression of too few digits are corrected with a
// printed warning. "Algorithm" is a text; a number is taken as its text. Makes the output folder when
// everything else is sound. What is wrong with a member is told in a sentence, then thrown.
//
// Throws ParseException and KeyNotFoundException for what is missing or of the wrong type,
// InvalidParametersException for values that cannot be used, FileException "Path is not writable.".
ComputeSettings load_compute_settings(const trel::Config::Object& object);

// The names that a key of these settings may have; empty for other keys.
std::vector<std::string> known_compute_values(const std::string& key);

// The same object again: the seven required keys, in their order. Loading it gives equal settings.
std::unique_ptr<trel::Config::Object> save_compute_settings(const ComputeSettings& settings);

}  // namespace kalvor
