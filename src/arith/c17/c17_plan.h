// How a Code 17 transform of a given length is laid out and blocked.
#pragma once

#include "arith/c17/c17_passes.h"
#include "arith/ntt/ntt_records.h"

namespace trel {

// A plan for the record: a = 7 to 11, b 2^c points with c from 8 to the depth of the primes. The record's
// hint f limits the columns that a sweep takes together to 2^(f + 2), as far as they fit the second cache and
// the buffers of many tasks stay small beside the data; d and e are checked but not needed. Hints out of
// their ranges (0, or 5 to 8, 3 to 11, 6 to 11) end the process with "Invalid Function Parameters:   ".
C17Plan make_c17_plan(const NttRecord& record, u32 max_log_radix);

// Levels of a forward transform that may follow each other without a reduction: see c17_bounds.md.
constexpr u32 kC17MaxLevels = 16;

}  // namespace trel
