// A look at the memory that a transform's kernels lay out for themselves.
#pragma once

namespace trel {

// Vectors are read and written fastest at multiples of 64 bytes. A misaligned area is not an error: prints
// "Data Misalignment. Possible performance penalty." in red and pauses; the caller goes on with the area as
// it is.
void check_work_area(const void* area);

}  // namespace trel
