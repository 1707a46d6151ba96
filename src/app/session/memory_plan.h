// What a run will take from the machine, planned before anything is allocated.
#pragma once

#include <memory>

#include "app/settings/compute_settings.h"
#include "base/names/names.h"
#include "digits/output/float_writer.h"

namespace kalvor {

// Bytes.
struct MemoryPlan {
    u64 working_memory = 0;
    u64 twiddle_tables = 0;
    u64 output = 0;   // buffers of the digit files' writer
    u64 program = 0;  // the program itself, its threads, the system's page tables

    // What a run announces, and menus show.
    u64 logical() const { return working_memory + twiddle_tables; }
    u64 total() const { return working_memory + twiddle_tables + output + program; }
};

// The plans of a run's parts and the memory that they take together.
struct RunPlan {
    // Throws LimitExceededException for a size that no algorithm reaches.
    static RunPlan make(const ComputeSettings& settings, const ComputeSize& size);

    std::unique_ptr<Evaluator> constant;
    WriterPlan writer;
    u64 max_product_words = 0;
    MemoryPlan memory;
};

// The largest number of decimal digits, rounded down to two significant digits, that a run with these
// settings but another size can compute in the bytes; 0 when not even the smallest size fits. At most the
// digits of the settings.
u64 digits_that_fit(const ComputeSettings& settings, u64 bytes);

}  // namespace kalvor
