// What every product is handed: tasks to run on, memory to work in, tables to share.
#pragma once

#include "os/types.h"
#include "platform/memory/aligned_buffer.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

class TransformTables;

// Products of at most this many words are short: where ParallelContext::inner_unchecked is set they are not
// checked one by one, because the code that set it checks, and repeats, a larger step as a whole. The end of
// the floating-point FFT in the default table.
inline constexpr u64 kShortProductWords = 3264;

// Passed by const reference; a callee that needs part of the memory for itself copies the context, carves the
// copy's view and passes that on.
struct MultiplyContext {
    ParallelContext parallel;
    AlignedBufferC scratch;  // free memory; nothing in it survives a call
    const TransformTables* tables =
        nullptr;  // shared tables (twiddle factors); nullptr: each transform makes its own

    MultiplyContext with_scratch(const AlignedBufferC& memory) const { return {parallel, memory, tables}; }
    MultiplyContext with_tds(u64 tds) const { return {parallel.with_tds(tds), scratch, tables}; }
};

}  // namespace trel
