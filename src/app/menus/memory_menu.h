// The menu of the memory settings of a computation in memory.
#pragma once

#include "base/names/names.h"
#include "base/settings/choices.h"
#include "os/types.h"
#include "platform/memory/allocator.h"

namespace kalvor {

// Bytes, as the plan of the computation has them.
struct MemoryFigures {
    u64 working;
    u64 twiddle_tables;
};

// Edits the allocator until the user is done; the figures follow from the computation. Throws
// EndOfStreamException at the end of the input.
void memory_menu(const MemoryFigures& figures, ChoiceSetting<AllocatorConfig>& allocator);

}  // namespace kalvor
