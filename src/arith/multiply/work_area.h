// A look at the memory that a transform's kernels lay out for themselves.
#pragma once

#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Vectors are read and written fastest at multiples of 64 bytes. A misaligned area is not an error: the run
// is warned with "Data Misalignment. Possible performance penalty." and the caller goes on with the area as
// it is.
void check_work_area(const ParallelContext& parallel, const void* area);

}  // namespace trel
