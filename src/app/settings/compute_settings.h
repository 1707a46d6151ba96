// The settings of one custom computation, as plain data.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "app/settings/compute_size.h"
#include "base/names/names.h"
#include "constants/catalog/constant.h"
#include "platform/memory/allocator.h"
#include "platform/parallel/parallelism_settings.h"

namespace kalvor {

struct ComputeSettings {
    // The usual constant by its first algorithm to 50,000,000 digits, output and verification on, the
    // machine's default tasks, "mmap".
    ComputeSettings();

    std::unique_ptr<Constant> constant;
    ComputeSize size;
    bool enable_hex = false;
    std::string path;  // where digits and validation file go; empty: the current folder
    bool output_enable = true;
    bool output_verify = true;
    bool overwrite = false;             // replace longer and read-only digit files
    std::optional<bool> minimum_space;  // whether too little free space is a refusal; empty: in long runs
    bool force = false;                 // run although the memory is not there
    static constexpr i64 kOneFile = -1;
    static constexpr u64 kLeastDigitsPerFile = 1000000;
    i64 digits_per_file = 0;  // of compressed files; 0: text files
    std::string log_path;     // every event is also appended to this file; empty: to none
    u64 bbp_digits = 0;       // how many of the last hexadecimal digits are computed a second time
    ParallelismSettings parallelism;
    ChoiceSetting<AllocatorConfig> allocator{"Allocator", "    Memory Allocator:       ", allocator_choices(),
                                             kDefaultAllocator};

    // Both return the text of a warning for the user, or nothing.
    // Sets the digit count within the constant's bounds; warns when it had to be clamped.
    std::string set_decimal_digits(i64 digits);
    // Compressed files hold a million digits or more: for fewer, in a file or in all, warns and goes back to
    // text.
    std::string check_compression();
};

}  // namespace kalvor
